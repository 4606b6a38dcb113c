#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Predicates.h"

#include <memory>

namespace {

/// Complains, then holds a lock file until it is ended from outside.
int HoldForScript(const std::vector<std::wstring>& arguments)
{
    platform::WriteConsoleText(platform::eStream_Error, L"no hurry here\n");
    std::unique_ptr<platform::ILockFile> lock;
    // The test may look just now whether it is held.
    while (platform::Files().OpenLockFile(arguments[0], {}, lock) == platform::eOsError_SharingViolation)
        platform::SystemClock().SleepFor(std::chrono::milliseconds(1));
    platform::SystemClock().SleepFor(kPatience);
    return 0;
}
const testsupport::CChildPart holdForScriptPart(L"script-hold", &HoldForScript);

/// Tasks that are programs, in a server that was started as anybody would.
class ScriptTasksTest : public CProgramTest {
protected:
    [[nodiscard]] CRunningProgram StartServing(const nlohmann::json& tasks,
                                               const std::vector<std::wstring>& extra = {}) const
    {
        Write(InHome(L"script-tasks.json"), nlohmann::json{{"tasks", tasks}}.dump());
        platform::SProcessOptions options;
        options.environment = {{L"ZEL_SCRIPT_TASKS", InHome(L"script-tasks.json")}};
        return StartServer(extra, std::move(options));
    }
    /// One that holds m_lock until somebody ends it.
    [[nodiscard]] nlohmann::json Holding() const
    {
        nlohmann::json command = {platform::ToUtf8(platform::ProgramPath())};
        for (const std::wstring& word : testsupport::ChildArguments(L"script-hold", {m_lock}))
            command.push_back(platform::ToUtf8(word));
        return {{"command", command}};
    }
    [[nodiscard]] bool IsHeld() const
    {
        std::unique_ptr<platform::ILockFile> lock;
        return platform::Files().OpenLockFile(m_lock, {}, lock) == platform::eOsError_SharingViolation;
    }

    const std::wstring m_lock = InHome(L"held.lock");
};

} // namespace

TEST_F(ScriptTasksTest, NoProgramOutlivesAServerThatIsKilled)
{
    for (const std::vector<std::wstring>& extra : {std::vector<std::wstring>{}, {L"--isolate"}}) {
        CRunningProgram server = StartServing({{"Hold", Holding()}}, extra);
        ASSERT_EQ(Zel({L"send", MakeRequest(L"a.drq", L"Type=\"Hold\"")}).code, 0);
        ASSERT_TRUE(WaitUntil([this] { return IsHeld(); }));
        server.Process().Kill();
        static_cast<void>(server.Finish());
        EXPECT_TRUE(WaitUntil([this] { return !IsHeld(); }));
    }
}

TEST_F(ScriptTasksTest, ACancelAndALimitEndTheProgram)
{
    CRunningProgram server = StartServing({{"Hold", Holding()}});
    ASSERT_EQ(Zel({L"send", MakeRequest(L"a.drq", L"Type=\"Hold\"")}).code, 0);
    ASSERT_TRUE(WaitUntil([this] { return IsHeld(); }));
    EXPECT_EQ(Zel({L"cancel", L"a.drq"}).output, "a.drq: Canceled\n");
    EXPECT_TRUE(server.WaitForErrors("The program of the task \"Hold\" wrote: no hurry here")) << server.Errors();
    EXPECT_TRUE(WaitUntil([this] { return !IsHeld(); }));
    Write(InHome(L"b.drq"), "<Request TimeLimit=\"1\"><Task Type=\"Hold\"/></Request>");
    EXPECT_EQ(Zel({L"send", InHome(L"b.drq"), L"--wait"}).code, 3);
    EXPECT_FALSE(IsHeld());
    StopServer(server);
}

TEST_F(ScriptTasksTest, AFileThatIsWrongIsToldWhenTheServerStarts)
{
    CRunningProgram server = StartServing({{"Hold", {{"command", "no list"}}}});
    EXPECT_TRUE(server.WaitForErrors("script-tasks.json: the task \"Hold\" has no \"command\"")) << server.Errors();
    StopServer(server);
}
