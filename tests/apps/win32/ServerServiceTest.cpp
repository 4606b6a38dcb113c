#include "platform/Os.h"
#include "platform/Service.h"
#include "platform/Text.h"
#include "platform/win32/WindowsHeader.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Predicates.h"

#include <vector>

namespace {

/// A handle of the service control manager for the length of a look.
class CManagerHandle {
public:
    explicit CManagerHandle(SC_HANDLE handle) : m_handle(handle) {}
    ~CManagerHandle()
    {
        if (m_handle != nullptr)
            CloseServiceHandle(m_handle);
    }
    CManagerHandle(const CManagerHandle&) = delete;
    CManagerHandle& operator=(const CManagerHandle&) = delete;
    [[nodiscard]] SC_HANDLE Get() const { return m_handle; }

private:
    const SC_HANDLE m_handle;
};

/// A service of the test's own name, which is gone at the end whatever happened.
class ServerServiceTest : public CProgramTest {
protected:
    ~ServerServiceTest() override
    {
        if (State() != 0) {
            EXPECT_EQ(platform::RemoveService(m_strName), platform::eOsError_None);
        }
    }

    [[nodiscard]] SProgramResult Service(const std::wstring& action, std::vector<std::wstring> more = {}) const
    {
        more.insert(more.begin(), {L"--service", action, L"--service-name", m_strName});
        return ServerResult(more);
    }
    [[nodiscard]] SProgramResult Install(const std::vector<std::wstring>& more = {}) const
    {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), more.begin(), more.end());
        arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--log-file", m_strLog, L"--strict"});
        return Service(L"install", arguments);
    }
    /// The system's own tool, as an operator uses it.
    void Control(const std::wstring& verb) const
    {
        platform::SProcessOptions options;
        options.pipeOutput = true;
        platform::CProcess tool;
        ASSERT_EQ(tool.Start(L"sc", {verb, m_strName}, options), platform::eOsError_None);
        const std::string output = tool.ReadAll(kPatience);
        int code = -1;
        ASSERT_TRUE(tool.Wait(kPatience, code));
        EXPECT_EQ(code, 0) << output;
    }
    [[nodiscard]] CManagerHandle Open(DWORD access) const
    {
        const CManagerHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
        return CManagerHandle(OpenServiceW(manager.Get(), m_strName.c_str(), access));
    }
    [[nodiscard]] SERVICE_STATUS Status() const
    {
        SERVICE_STATUS status{};
        const CManagerHandle service = Open(SERVICE_QUERY_STATUS);
        if (service.Get() == nullptr || !QueryServiceStatus(service.Get(), &status))
            return {};
        return status;
    }
    /// 0 without a service of the name.
    [[nodiscard]] DWORD State() const { return Status().dwCurrentState; }
    [[nodiscard]] bool WaitForState(DWORD state) const
    {
        return WaitUntil([&] { return State() == state; });
    }
    [[nodiscard]] std::wstring CommandLine(DWORD& startType, std::wstring& account) const
    {
        const CManagerHandle service = Open(SERVICE_QUERY_CONFIG);
        DWORD size = 0;
        QueryServiceConfigW(service.Get(), nullptr, 0, &size);
        std::vector<std::byte> room(size + sizeof(QUERY_SERVICE_CONFIGW));
        auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(room.data());
        EXPECT_TRUE(QueryServiceConfigW(service.Get(), config, static_cast<DWORD>(room.size()), &size));
        startType = config->dwStartType;
        account = config->lpServiceStartName != nullptr ? config->lpServiceStartName : L"";
        return config->lpBinaryPathName != nullptr ? config->lpBinaryPathName : L"";
    }

    /// What the system keeps for the time after a failure; empty when it does not tell.
    [[nodiscard]] std::vector<std::byte> Recovery(DWORD level) const
    {
        const CManagerHandle service = Open(SERVICE_QUERY_CONFIG);
        DWORD size = 0;
        QueryServiceConfig2W(service.Get(), level, nullptr, 0, &size);
        std::vector<std::byte> room(size);
        if (!QueryServiceConfig2W(service.Get(), level, reinterpret_cast<BYTE*>(room.data()), size, &size))
            room.clear();
        return room;
    }

    const std::wstring m_strName = L"zel-test-" + std::to_wstring(platform::CurrentProcessId());
    const std::wstring m_strLog = m_root / L"log of the service.txt";
};

TEST_F(ServerServiceTest, ServesFromItsStartToItsStop)
{
    const SProgramResult installed = Install();
    ASSERT_EQ(installed.code, 0) << installed.errors;
    EXPECT_TRUE(Contains(installed.output, "was installed")) << installed.output;
    EXPECT_EQ(State(), DWORD{SERVICE_STOPPED});

    Control(L"start");
    ASSERT_TRUE(WaitForState(SERVICE_RUNNING)) << Read(m_strLog);
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0) << Read(m_strLog);
    EXPECT_EQ(Read(InOutput(L"a.drq")), EchoResponse("x"));

    Control(L"stop");
    ASSERT_TRUE(WaitForState(SERVICE_STOPPED)) << Read(m_strLog);
    EXPECT_EQ(Status().dwWin32ExitCode, DWORD{NO_ERROR});
    EXPECT_TRUE(Contains(Read(m_strLog), "{a.drq}")) << Read(m_strLog);

    const SProgramResult removed = Service(L"remove");
    EXPECT_EQ(removed.code, 0) << removed.errors;
    EXPECT_EQ(State(), 0U);
}

TEST_F(ServerServiceTest, CanBeStartedAgainAndIsStoppedBeforeItIsRemoved)
{
    ASSERT_EQ(Install().code, 0);
    for (int round = 0; round < 2; ++round) {
        Control(L"start");
        ASSERT_TRUE(WaitForState(SERVICE_RUNNING)) << Read(m_strLog);
        if (round == 0) {
            Control(L"stop");
            ASSERT_TRUE(WaitForState(SERVICE_STOPPED)) << Read(m_strLog);
        }
    }
    const SProgramResult removed = Service(L"remove");
    EXPECT_EQ(removed.code, 0) << removed.errors;
    EXPECT_EQ(State(), 0U);
    // Its claim on the output directory has ended as well.
    CRunningProgram server = StartServer();
    StopServer(server);
}

TEST_F(ServerServiceTest, ReadsItsFileOfOptionsAgainWhenItsParametersChange)
{
    const std::wstring file = m_root / L"zel-server.conf";
    Write(file, "keep = 7\n");
    ASSERT_EQ(Install({L"--config", file}).code, 0);
    DWORD startType = 0;
    std::wstring account;
    const std::string commandLine = platform::ToUtf8(CommandLine(startType, account));
    EXPECT_TRUE(Contains(commandLine, platform::ToUtf8(L"--config=" + file))) << commandLine;
    EXPECT_FALSE(Contains(commandLine, "--keep")) << commandLine;
    Control(L"start");
    ASSERT_TRUE(WaitForState(SERVICE_RUNNING)) << Read(m_strLog);
    Write(file, "keep = 9\n");
    {
        const CManagerHandle service = Open(SERVICE_PAUSE_CONTINUE);
        SERVICE_STATUS status{};
        ASSERT_TRUE(ControlService(service.Get(), SERVICE_CONTROL_PARAMCHANGE, &status)) << GetLastError();
    }
    EXPECT_TRUE(WaitUntil([&] { return Contains(Read(m_strLog), "--keep has changed, which takes effect"); }))
        << Read(m_strLog);
    Control(L"stop");
    ASSERT_TRUE(WaitForState(SERVICE_STOPPED)) << Read(m_strLog);
}

TEST_F(ServerServiceTest, IsInstalledWithWholePathsUnderTheLeastAccount)
{
    ASSERT_EQ(Install().code, 0);
    DWORD startType = 0;
    std::wstring account;
    const std::wstring commandLine = CommandLine(startType, account);
    const std::string text = platform::ToUtf8(commandLine);
    EXPECT_TRUE(commandLine.starts_with(L"\"")) << text;
    EXPECT_TRUE(Contains(text, "zel-server.exe\" --service run --service-name " + platform::ToUtf8(m_strName))) << text;
    EXPECT_TRUE(Contains(text, "--log-file \"" + platform::ToUtf8(m_strLog) + "\"")) << text;
    EXPECT_TRUE(Contains(text, " --strict")) << text;
    EXPECT_EQ(startType, DWORD{SERVICE_AUTO_START});
    EXPECT_EQ(account, L"NT AUTHORITY\\LocalService");
}

TEST_F(ServerServiceTest, IsStartedAgainFiveSecondsAfterEachFailure)
{
    if (testsupport::IsWine())
        GTEST_SKIP() << "IsWine: it keeps no recovery actions, and says that it does not know the question";
    ASSERT_EQ(Install().code, 0);
    const std::vector<std::byte> room = Recovery(SERVICE_CONFIG_FAILURE_ACTIONS);
    ASSERT_GE(room.size(), sizeof(SERVICE_FAILURE_ACTIONSW));
    const auto& failures = *reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(room.data());
    EXPECT_EQ(failures.dwResetPeriod, DWORD{24 * 60 * 60});
    ASSERT_EQ(failures.cActions, DWORD{3});
    for (DWORD index = 0; index < failures.cActions; ++index) {
        EXPECT_EQ(failures.lpsaActions[index].Type, SC_ACTION_RESTART);
        EXPECT_EQ(failures.lpsaActions[index].Delay, DWORD{5000});
    }
    // Also after one that it told of before it ended.
    const std::vector<std::byte> flag = Recovery(SERVICE_CONFIG_FAILURE_ACTIONS_FLAG);
    ASSERT_GE(flag.size(), sizeof(SERVICE_FAILURE_ACTIONS_FLAG));
    EXPECT_TRUE(reinterpret_cast<const SERVICE_FAILURE_ACTIONS_FLAG*>(flag.data())->fFailureActionsOnNonCrashFailures);
}

TEST_F(ServerServiceTest, OneThatCannotStartTellsItsExitCode)
{
    ASSERT_EQ(Install().code, 0);
    ASSERT_EQ(platform::Files().RemoveEmptyDirectory(m_strRequests), platform::eOsError_None);
    Control(L"start");
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(m_strLog) && Contains(Read(m_strLog), "not exist"); }));
    ASSERT_TRUE(WaitForState(SERVICE_STOPPED)) << Read(m_strLog);
    EXPECT_EQ(Status().dwWin32ExitCode, DWORD{ERROR_SERVICE_SPECIFIC_ERROR});
    EXPECT_EQ(Status().dwServiceSpecificExitCode, 1U);
}

TEST_F(ServerServiceTest, OneThatEndedItselfTellsItsExitCode)
{
    MakeFailingSystem();
    ASSERT_EQ(Install({L"--components", m_strHome}).code, 0);
    Control(L"start");
    ASSERT_TRUE(WaitForState(SERVICE_RUNNING)) << Read(m_strLog);
    Write(InRequests(L"fail-now"), "");
    ASSERT_TRUE(WaitForState(SERVICE_STOPPED)) << Read(m_strLog);
    EXPECT_EQ(Status().dwWin32ExitCode, DWORD{ERROR_SERVICE_SPECIFIC_ERROR});
    EXPECT_EQ(Status().dwServiceSpecificExitCode, 1U);
    EXPECT_TRUE(Contains(Read(m_strLog), "the server has ended by itself")) << Read(m_strLog);
}

TEST_F(ServerServiceTest, TwoOfOneNameAndNoneAtAllAreRefused)
{
    EXPECT_EQ(Service(L"remove").code, 1);
    ASSERT_EQ(Install().code, 0);
    const SProgramResult second = Install();
    EXPECT_EQ(second.code, 1);
    EXPECT_TRUE(Contains(second.errors, "cannot be installed")) << second.errors;
}

TEST_F(ServerServiceTest, RunByHandIsRefused)
{
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.insert(arguments.end(), {L"--log-file", m_strLog});
    const SProgramResult result = Service(L"run", arguments);
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "is for the system")) << result.errors;
}

} // namespace
