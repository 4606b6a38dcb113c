#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Process.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Predicates.h"

#include <memory>
#include <tuple>
#include <utility>

namespace {

/// Holds a lock file until it is ended from outside, and says so unless it is to be silent.
int HoldForTask(const std::vector<std::wstring>& arguments)
{
    std::unique_ptr<platform::ILockFile> lock;
    platform::eOsError error = platform::eOsError_None;
    // The test may look just now whether it is held.
    while ((error = platform::Files().OpenLockFile(arguments[0], {}, lock)) == platform::eOsError_SharingViolation)
        platform::SystemClock().SleepFor(std::chrono::milliseconds(1));
    if (!platform::Succeeded(error))
        return 9;
    if (arguments.size() < 2)
        testsupport::TellParent(L"held");
    platform::SystemClock().SleepFor(kPatience);
    return 0;
}
const testsupport::CChildPart holdForTaskPart(L"isolation-hold", &HoldForTask);

/// Tasks in a process of their own.
class IsolationTest : public CProgramTest {
protected:
    [[nodiscard]] CRunningProgram StartIsolating(std::vector<std::wstring> extra = {}) const
    {
        static_cast<void>(platform::Files().MakeDirectory(m_crashes));
        platform::SProcessOptions options;
        // What a given-up task leaves is no leak that a sanitizer should tell.
        options.environment = {{L"ZEL_CRASH_DIR", m_crashes}, {L"LSAN_OPTIONS", L"detect_leaks=0"}};
        extra.emplace_back(L"--isolate");
        return StartServer(extra, std::move(options));
    }
    [[nodiscard]] std::string WaitForFailure(const std::wstring& name) const
    {
        const SProgramResult result = Zel({L"wait", name});
        EXPECT_EQ(result.code, 3) << result.output << result.errors;
        return result.output + result.errors;
    }
    [[nodiscard]] std::string Crash(const std::wstring& kind) const
    {
        const std::wstring name = kind + L".drq";
        EXPECT_EQ(Zel({L"send", MakeRequest(name, L"Type=\"Crash\" Kind=\"" + kind + L"\"")}).code, 0);
        return WaitForFailure(name);
    }
    void ExpectServes() const { EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"-o", InHome(L"a.xml")}).code, 0); }
    /// A task that starts a process, which holds m_lock; and says so, or the task waits for it.
    [[nodiscard]] std::wstring MakeLeave(const std::wstring& name, bool isSilent) const
    {
        std::vector<std::wstring> arguments = {m_lock};
        if (isSilent)
            arguments.emplace_back(L"silent");
        std::wstring attributes = L"Type=\"Leave\" Program=\"" + platform::ProgramPath() + L"\"";
        int number = 0;
        for (const std::wstring& argument : testsupport::ChildArguments(L"isolation-hold", arguments))
            attributes += L" Argument" + std::to_wstring(++number) + L"=\"" + argument + L"\"";
        return MakeRequest(name, attributes);
    }
    [[nodiscard]] bool IsHeld() const
    {
        std::unique_ptr<platform::ILockFile> lock;
        return platform::Files().OpenLockFile(m_lock, {}, lock) == platform::eOsError_SharingViolation;
    }
    [[nodiscard]] std::wstring MakeDeafGate(const std::wstring& name, const std::string& attributes = {}) const
    {
        Write(InHome(name), "<Request " + attributes + "><Task Type=\"Gate\" Deaf=\"1\" GateFile=\"" +
                                platform::ToUtf8(Gate(name)) + "\"/></Request>");
        return InHome(name);
    }

    const std::wstring m_crashes = m_root / L"crashes";
    const std::wstring m_lock = m_root / L"held";
};

TEST_F(IsolationTest, WhateverATaskDoesIsTheEndOfItsRequestAlone)
{
    CRunningProgram server = StartIsolating();
    for (const auto& [kind, reason, isReported] : {std::tuple{L"NullDereference", "access violation", true},
                                                   {L"Abort", "abort", true},
                                                   {L"Exception", "std::runtime_error: crash task", true},
                                                   {L"Exit", "with exit code 3", false},
                                                   {L"CallExit", "a call of exit", true}}) {
        const std::string told = Crash(kind);
        EXPECT_TRUE(Contains(told, "The process of the task has ended")) << told;
        EXPECT_TRUE(Contains(told, reason)) << told;
        EXPECT_EQ(Contains(told, "Crash report: "), isReported) << told;
        EXPECT_FALSE(platform::PathExists(InOutput(std::wstring(kind) + L".drq"))) << "there is no response";
        ExpectServes();
    }
    EXPECT_EQ(FilesIn(m_crashes).size(), 4U);
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), "{Exit.drq} Started: type Crash")) << server.Errors();
    EXPECT_TRUE(Contains(server.Errors(), "The process of the task has ended: abort. Crash report: "))
        << server.Errors();
}

TEST_F(IsolationTest, WhatIsDamagedIsNotTheServers)
{
    if (testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized())
        GTEST_SKIP() << "IsAddressSanitized, IsThreadSanitized: the sanitizer ends the process itself";
    CRunningProgram server = StartIsolating();
    for (const wchar_t* kind :
         {L"StackOverflow", L"OwnThread", L"OwnThreadAbort", L"HeapOverrun", L"HeapUseAfterFree"}) {
        const std::string told = Crash(kind);
        EXPECT_TRUE(Contains(told, "The process of the task ")) << told;
        EXPECT_TRUE(Contains(told, "Crash report: ")) << told;
        ExpectServes();
    }
    EXPECT_EQ(FilesIn(m_crashes).size(), 5U);
    StopServer(server);
}

TEST_F(IsolationTest, AReasonIsToldInTheServersLanguage)
{
    platform::SProcessOptions options;
    options.environment = {{L"LC_ALL", L"de_DE.UTF-8"}, {L"LANGUAGE", L""}, {L"ZEL_CRASH_DIR", m_strHome}};
    CRunningProgram server = StartServer({L"--isolate"}, std::move(options));
    EXPECT_TRUE(Contains(Crash(L"Exit"), "Der Prozess der Aufgabe hat sich selbst beendet, mit dem Exit-Code 3."));
    StopServer(server);
}

TEST_F(IsolationTest, ATaskThatLooksIsCancelledAndOneThatDoesNotIsEnded)
{
    for (const bool isDeaf : {false, true}) {
        CRunningProgram server = StartIsolating({L"--grace", isDeaf ? L"0.2" : L"60"});
        const std::wstring name = isDeaf ? L"deaf.drq" : L"g.drq";
        ASSERT_EQ(Zel({L"send", isDeaf ? MakeDeafGate(name) : MakeGate(name)}).code, 0);
        ASSERT_TRUE(WaitUntilAtGate(name));
        EXPECT_EQ(Zel({L"cancel", name}).output, platform::ToUtf8(name) + ": Canceled\n");
        ExpectServes();
        StopServer(server);
        EXPECT_EQ(Contains(server.Errors(), "its process was ended, for it still ran 0.2 seconds after"), isDeaf)
            << server.Errors();
    }
}

TEST_F(IsolationTest, ATaskThatDoesNotLookIsEndedAfterItsLimitAndTheGrace)
{
    CRunningProgram server = StartIsolating({L"--grace", L"0.2"});
    ExpectServes(); // so that the process is there
    ASSERT_EQ(Zel({L"send", MakeDeafGate(L"g.drq", "TimeLimit='0.5'")}).code, 0);
    const std::string told = WaitForFailure(L"g.drq");
    EXPECT_TRUE(Contains(told, "than its limit of 0.5 seconds.")) << told;
    EXPECT_TRUE(Contains(told, "the task had not seen after 0.2 seconds that it was cancelled")) << told;
    ExpectServes();
    StopServer(server);
    EXPECT_FALSE(Contains(server.Errors(), "cannot be ended without it")) << server.Errors();
}

TEST_F(IsolationTest, ATaskGetsNoMoreMemoryThanItMayHave)
{
    if (testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized())
        GTEST_SKIP() << "IsAddressSanitized, IsThreadSanitized: the sanitizer takes terabytes of addresses";
    if (testsupport::IsWine())
        GTEST_SKIP() << "IsWine: it does not carry out a job's limit of memory";
    CRunningProgram server = StartIsolating({L"--memory-limit", L"256"});
    const std::string told = Crash(L"Memory");
    EXPECT_TRUE(Contains(told, "std::bad_alloc")) << told;
    EXPECT_TRUE(Contains(told, "It may use 256 MiB of memory.")) << told;
    ExpectServes();
    StopServer(server);
}

TEST_F(IsolationTest, WhatATaskLeavesIsEndedAndTold)
{
    if (testsupport::IsWine())
        GTEST_SKIP() << "IsWine: it does not tell a process how many are in its own job";
    CRunningProgram server = StartIsolating();
    ASSERT_EQ(Zel({L"send", MakeLeave(L"l.drq", false), L"--wait"}).code, 0);
    ExpectServes();
    EXPECT_FALSE(IsHeld());
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), "l.drq: its task has left processes behind, which are ended"))
        << server.Errors();
}

TEST_F(IsolationTest, NoProcessOutlivesAServerThatIsKilledAndTheNextOneRunsTheRequestAgain)
{
    {
        CRunningProgram first = StartIsolating({L"--resume"});
        ASSERT_EQ(Zel({L"send", MakeLeave(L"l.drq", true)}).code, 0);
        ASSERT_TRUE(WaitUntil([this] { return IsHeld(); }));
        first.Process().Kill();
        static_cast<void>(first.Finish());
    }
    EXPECT_TRUE(WaitUntil([this] { return !IsHeld(); }));
    CRunningProgram second = StartIsolating({L"--resume", L"--grace", L"0.2"});
    ASSERT_TRUE(WaitUntil([this] { return IsHeld(); })) << "it is run again";
    EXPECT_EQ(Zel({L"cancel", L"l.drq"}).output, "l.drq: Canceled\n");
    EXPECT_TRUE(WaitUntil([this] { return !IsHeld(); }));
    ExpectServes();
    StopServer(second);
}

TEST_F(IsolationTest, ATaskThatDeclinesIsAskedAgain)
{
    CRunningProgram server = StartIsolating({L"--resume"});
    const std::wstring request =
        MakeRequest(L"r.drq", L"Type=\"Retry\" Times=\"3\" EvenForced=\"1\" RecordFile=\"" + InHome(L"asked") + L"\"");
    EXPECT_EQ(Zel({L"send", request, L"--wait"}).code, 0);
    EXPECT_TRUE(Read(InHome(L"asked")).starts_with("asked") || Read(InHome(L"asked")).starts_with("forced"));
    StopServer(server);
}

TEST_F(IsolationTest, ACrashedRequestIsRunAgainAsOftenAsItAsks)
{
    CRunningProgram server = StartIsolating();
    Write(InHome(L"c.drq"), "<Request Attempts='2'><Task Type=\"Crash\" Kind=\"Exit\"/></Request>");
    const SProgramResult result = Zel({L"send", InHome(L"c.drq"), L"--wait"});
    EXPECT_EQ(result.code, 3) << result.errors;
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), "attempt 1 of 2 has failed, The process of the task has ended by itself"))
        << server.Errors();
}

TEST_F(IsolationTest, AFailureIsKeptWithTheCrashReportOfTheProcess)
{
    CRunningProgram server = StartIsolating({L"--keep-failed", L"7"});
    static_cast<void>(Crash(L"Exception"));
    const std::vector<nlohmann::json> failed = Zel({L"failed", L"--json"}).Objects();
    ASSERT_EQ(failed.size(), 1U);
    ASSERT_TRUE(failed[0]["crashReport"].is_string()) << failed[0];
    EXPECT_TRUE(Contains(Read(platform::FromUtf8(failed[0]["crashReport"].get<std::string>())), "Exception.drq"));
    StopServer(server);
}

TEST_F(IsolationTest, AStrictServerTellsTheReasonToItsLogAlone)
{
    CRunningProgram server = StartIsolating({L"--strict", L"--grace", L"0.2", L"--time-limit", L"0.5"});
    ASSERT_EQ(Zel({L"send", MakeDeafGate(L"g.drq")}).code, 0);
    const std::string told = WaitForFailure(L"g.drq");
    EXPECT_FALSE(Contains(told, "process was ended")) << told;
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), "its process was ended")) << server.Errors();
}

TEST_F(IsolationTest, ARequestIsDoneBeforeItsTaskIsPutAway)
{
    CRunningProgram server = StartIsolating();
    const std::wstring end = InHome(L"end");
    Write(Gate(L"g.drq"), "");
    const std::wstring request =
        MakeRequest(L"g.drq", L"Type=\"Gate\" GateFile=\"" + Gate(L"g.drq") + L"\" EndFile=\"" + end + L"\"");
    EXPECT_EQ(Zel({L"send", request, L"-o", InHome(L"g.xml")}).code, 0);
    Write(end, "");
    ExpectServes();
    StopServer(server);
}

TEST_F(IsolationTest, TheProcessIsReplacedAfterSoManyRequests)
{
    CRunningProgram server = StartIsolating({L"--recycle", L"2", L"--log-level", L"debug"});
    for (int i = 0; i < 4; ++i)
        ExpectServes();
    StopServer(server);
    const std::string log = server.Errors();
    std::size_t started = 0;
    for (std::size_t at = 0; (at = log.find("A process for tasks was started", at)) != std::string::npos; ++at)
        ++started;
    EXPECT_EQ(started, 3U) << log;
    EXPECT_TRUE(Contains(log, "Reading the request...")) << "what is logged there is logged here";
}

TEST_F(IsolationTest, TheProcessIsReplacedWhenItHasGrown)
{
    for (const auto& [most, isReplaced] : {std::pair{L"1", true}, {L"100000", false}}) {
        CRunningProgram server = StartIsolating({L"--recycle-memory", most});
        for (int i = 0; i < 2; ++i)
            ExpectServes();
        StopServer(server);
        EXPECT_EQ(Contains(server.Errors(), "The process of the tasks has grown and is replaced"), isReplaced)
            << server.Errors();
    }
}

TEST_F(IsolationTest, ItsOptionsAreForAServerThatIsolates)
{
    for (const wchar_t* option : {L"--recycle", L"--recycle-memory", L"--memory-limit", L"--nice"}) {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {option, L"5"});
        const SProgramResult result = ServerResult(arguments);
        EXPECT_EQ(result.code, 2) << result.errors;
        EXPECT_TRUE(Contains(result.errors, "--isolate")) << result.errors;
    }
}

TEST_F(IsolationTest, AServerWithoutTheProgramDoesNotStart)
{
    platform::SProcessOptions options;
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--isolate", L"--check"});
    const std::wstring server = CopyServer(m_root / L"lonely", options);
    for (const bool isCheck : {true, false}) {
        const SProgramResult result = RunProgram(server, arguments, options);
        EXPECT_EQ(result.code, 1) << isCheck;
        EXPECT_TRUE(Contains(result.errors, "zel-task-host")) << result.errors;
        EXPECT_EQ(Contains(result.errors, "--isolate needs the program"), isCheck) << result.errors;
        arguments.pop_back();
    }
}

TEST_F(IsolationTest, TheProgramIsOfNoUseByHand)
{
    const SProgramResult result = RunProgram(L"zel-task-host", {});
    EXPECT_EQ(result.code, 2) << result.errors;
    EXPECT_TRUE(Contains(result.errors, "this program is started by a server")) << result.errors;
    EXPECT_TRUE(Contains(RunProgram(L"zel-task-host", {L"--help"}).output, "zel-server --isolate"));
}

} // namespace
