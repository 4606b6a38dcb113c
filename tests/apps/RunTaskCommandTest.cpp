#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Predicates.h"

#include <set>

namespace {

class RunTaskCommandTest : public CProgramTest {
protected:
    [[nodiscard]] static std::wstring TestModule()
    {
        return platform::JoinPath(TestPlugins(), std::wstring(L"zel_testtasks") + platform::ModuleExtension());
    }
    [[nodiscard]] static std::wstring BrokenModule(const std::wstring& name)
    {
        const std::wstring bin = platform::DirectoryOf(platform::ProgramPath());
        return platform::JoinPath(platform::JoinPath(bin, L"broken-plugins"), name + platform::ModuleExtension());
    }
    /// Without any directory of a server.
    [[nodiscard]] SProgramResult RunTask(const std::vector<std::wstring>& arguments) const
    {
        return RunProgram(L"zel", All(arguments), Options());
    }
    [[nodiscard]] CRunningProgram StartTask(const std::vector<std::wstring>& arguments) const
    {
        return CRunningProgram(L"zel", All(arguments), Options());
    }
    /// The folders of this name, and the files in them.
    [[nodiscard]] std::set<std::wstring> ScratchFolders() const
    {
        std::vector<platform::SDirectoryEntry> entries;
        EXPECT_EQ(platform::Files().List(m_strHome, entries), platform::eOsError_None);
        std::set<std::wstring> folders;
        for (const platform::SDirectoryEntry& entry : entries) {
            if (!entry.name.starts_with(L"zel-task-"))
                continue;
            folders.insert(entry.name);
            for (const std::wstring& file : FilesIn(InHome(entry.name)))
                folders.insert(entry.name + L"/" + file);
        }
        return folders;
    }

private:
    [[nodiscard]] static std::vector<std::wstring> All(const std::vector<std::wstring>& arguments)
    {
        std::vector<std::wstring> all{L"run-task"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return all;
    }
    [[nodiscard]] platform::SProcessOptions Options() const
    {
        platform::SProcessOptions options;
        options.environment.emplace_back(L"ZEL_CRASH_DIR", m_strHome);
        options.environment.emplace_back(L"LSAN_OPTIONS", L"detect_leaks=0"); // of a given-up task
        for (const wchar_t* const name : {L"TMPDIR", L"TMP"}) // what a killed one leaves goes with the test
            options.environment.emplace_back(name, m_strHome);
        options.environment.emplace_back(L"LANGUAGE", L"en");
        return options;
    }
};

} // namespace

TEST_F(RunTaskCommandTest, PrintsTheResponseAndLeavesTheRequest)
{
    const std::wstring request = MakeEcho(L"a.drq", L"gr\u00fc\u00df dich");
    const SProgramResult result = RunTask({TestModule(), request});
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.output, EchoResponse("gr\xC3\xBC\xC3\x9F dich"));
    EXPECT_TRUE(Contains(result.errors, "a.drq: PreparingResponse")) << result.errors;
    EXPECT_TRUE(platform::PathExists(request));
}

TEST_F(RunTaskCommandTest, WhatAKilledOneLeftGoesWithTheNextAndNothingElse)
{
    CRunningProgram running = StartTask({TestModule(), MakeGate(L"runs.drq"), L"-q"});
    ASSERT_TRUE(WaitUntilAtGate(L"runs.drq"));
    const std::set<std::wstring> used = ScratchFolders();
    EXPECT_EQ(used.size(), 5U) << "two folders, each held, and the request";
    CRunningProgram killed = StartTask({TestModule(), MakeGate(L"killed.drq"), L"-q"});
    ASSERT_TRUE(WaitUntilAtGate(L"killed.drq"));
    killed.Process().Kill();
    static_cast<void>(killed.Finish());
    EXPECT_EQ(ScratchFolders().size(), 10U);
    // Of this name by chance.
    ASSERT_EQ(platform::Files().MakeDirectory(InHome(L"zel-task-force")), platform::eOsError_None);
    Write(InHome(L"zel-task-force/report.txt"), "mine");

    EXPECT_EQ(RunTask({TestModule(), MakeEcho(L"a.drq", L"x"), L"-q"}).code, 0);
    std::set<std::wstring> expected = used;
    expected.insert({L"zel-task-force", L"zel-task-force/report.txt"});
    EXPECT_EQ(ScratchFolders(), expected);
    Write(Gate(L"runs.drq"), "");
    EXPECT_EQ(running.Finish().code, 0);
    EXPECT_EQ(ScratchFolders(), (std::set<std::wstring>{L"zel-task-force", L"zel-task-force/report.txt"}));
}

TEST_F(RunTaskCommandTest, TakesAManifestAsWell)
{
    const SProgramResult result =
        RunTask({platform::JoinPath(TestPlugins(), L"zel_testtasks.component"), MakeEcho(L"a.drq", L"x"), L"-q"});
    EXPECT_EQ(result.output, EchoResponse("x"));
    EXPECT_EQ(result.errors, "");
}

TEST_F(RunTaskCommandTest, PutsTheResponseIntoAFile)
{
    const std::wstring target = InHome(L"answer.xml");
    EXPECT_EQ(RunTask({TestModule(), MakeEcho(L"a.drq", L"x"), L"-o", target}).output, "");
    EXPECT_EQ(Read(target), EchoResponse("x"));
    const SProgramResult nowhere = RunTask({TestModule(), MakeEcho(L"a.drq", L"x"), L"-q", L"-o", InHome(L"none/x")});
    EXPECT_EQ(nowhere.code, 1);
    EXPECT_TRUE(Contains(nowhere.errors, "none/x' cannot be created: ")) << nowhere.errors;
}

TEST_F(RunTaskCommandTest, ADashIsStandardInputAndStandardOutput)
{
    platform::SProcessOptions options;
    options.pipeInput = true;
    for (const wchar_t* const name : {L"TMPDIR", L"TMP"})
        options.environment.emplace_back(name, m_strHome);
    CRunningProgram program(L"zel", {L"run-task", TestModule(), L"-", L"-o", L"-", L"--repeat", L"2"}, options);
    ASSERT_TRUE(program.Process().WriteLine(platform::FromUtf8(Read(MakeEcho(L"a.drq", L"from a pipe")))));
    program.Process().CloseInput();
    const SProgramResult result = program.Finish();
    EXPECT_EQ(result.code, 0) << result.errors;
    std::string expected = EchoResponse("from a pipe");
    std::erase(expected, '\r');
    EXPECT_EQ(result.output, expected);
    EXPECT_TRUE(Contains(result.errors, "standard input: PreparingResponse")) << result.errors;
    EXPECT_FALSE(platform::PathExists(L"-"));
}

TEST_F(RunTaskCommandTest, AFolderIsToldAsOneBeforeAnythingRuns)
{
    const std::wstring request =
        MakeRequest(L"a.drq", L"Type=\"Retry\" EvenForced=\"1\" RecordFile=\"" + InHome(L"r") + L"\"");
    for (const std::vector<std::wstring>& arguments : {std::vector<std::wstring>{m_strHome, request},
                                                       {TestModule(), m_strHome},
                                                       {TestModule(), request, L"-o", m_strHome}}) {
        const SProgramResult result = RunTask(arguments);
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(Contains(result.errors, platform::ToUtf8(L"'" + m_strHome + L"' is a directory"))) << result.errors;
        EXPECT_FALSE(platform::PathExists(InHome(L"r")));
    }
}

TEST_F(RunTaskCommandTest, TellsWhyARequestFailsOnce)
{
    const SProgramResult result =
        RunTask({TestModule(), MakeRequest(L"a.drq", L"Type=\"FailObtain\" Words=\"the disk is away.\""), L"-q"});
    EXPECT_EQ(result.code, 3);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "zel: a.drq: Server error: the disk is away.\n");
    const SProgramResult other = RunTask({TestModule(), MakeRequest(L"b.drq", L"Type=\"Echoo\""), L"-q"});
    EXPECT_EQ(other.code, 3);
    EXPECT_TRUE(Contains(other.errors, "Echoo")) << other.errors;
}

TEST_F(RunTaskCommandTest, TellsAFaultWithItsStack)
{
    const SProgramResult result =
        RunTask({TestModule(), MakeRequest(L"a.drq", L"Type=\"Crash\" Kind=\"NullDereference\"")});
    EXPECT_EQ(result.code, 3);
    for (const char* const part :
         {"access violation", "CrashNullDereference", "Stack, innermost frame first:", "#0  0x"})
        EXPECT_TRUE(Contains(result.errors, part)) << part << '\n' << result.errors;
    EXPECT_FALSE(Contains(result.errors, "(DefaultHost.cpp")) << "a log line for people has no place in our source";
    const SProgramResult thrown = RunTask({TestModule(), MakeRequest(L"b.drq", L"Type=\"Crash\" Kind=\"Exception\"")});
    EXPECT_EQ(thrown.code, 3);
    EXPECT_TRUE(Contains(thrown.errors, "crash task")) << thrown.errors;
}

TEST_F(RunTaskCommandTest, APluginWithoutDebugInformationIsBlamedAllTheSame)
{
    if (testsupport::IsThreadSanitized())
        GTEST_SKIP() << "IsThreadSanitized: the fault is in an abort of its own, which has debug information";
    const SProgramResult result = RunTask({BrokenModule(L"zel_bare"), MakeRequest(L"a.drq", L"Type=\"Bare\""), L"-q"});
    EXPECT_EQ(result.code, 3);
    const std::size_t place = result.errors.find("\nSource:      unknown\nModule:      ");
    ASSERT_NE(place, std::string::npos) << result.errors;
    EXPECT_NE(result.errors.substr(place, 500).find("zel_bare"), std::string::npos) << result.errors;
}

TEST_F(RunTaskCommandTest, LeavesAFaultAndAnExceptionToOthersWhenTold)
{
    const SProgramResult result = RunTask(
        {TestModule(), MakeRequest(L"a.drq", L"Type=\"Crash\" Kind=\"NullDereference\""), L"-q", L"--no-contain"});
    EXPECT_NE(result.code, 0);
    EXPECT_NE(result.code, 3) << result.errors;
    EXPECT_FALSE(Contains(result.errors, "crash report")) << result.errors;
    const SProgramResult thrown =
        RunTask({TestModule(), MakeRequest(L"b.drq", L"Type=\"Crash\" Kind=\"Exception\""), L"-q", L"--no-contain"});
    EXPECT_NE(thrown.code, 0);
    EXPECT_FALSE(Contains(thrown.errors, "zel: ")) << "nobody caught it: " << thrown.errors;
    EXPECT_TRUE(Contains(thrown.errors, "terminate called after throwing")) << thrown.errors;
}

TEST_F(RunTaskCommandTest, CountsTheObjectsThatAreLeft)
{
    const SProgramResult clean = RunTask({TestModule(), MakeEcho(L"a.drq", L"x"), L"--repeat", L"20"});
    EXPECT_EQ(clean.code, 0);
    EXPECT_EQ(clean.output, EchoResponse("x"));
    EXPECT_TRUE(Contains(clean.errors, "objects left: 0; runs: 20")) << clean.errors;
    const SProgramResult leaking =
        RunTask({BrokenModule(L"zel_leaking"), MakeRequest(L"b.drq", L"Type=\"Leak\""), L"-q", L"--repeat", L"20"});
    EXPECT_EQ(leaking.code, 3);
    EXPECT_TRUE(Contains(leaking.errors, "objects left: 20; runs: 20")) << leaking.errors;
}

TEST_F(RunTaskCommandTest, ATaskThatDeclinesSaysSo)
{
    const SProgramResult result = RunTask(
        {TestModule(), MakeRequest(L"a.drq", L"Type=\"Retry\" EvenForced=\"1\" RecordFile=\"" + InHome(L"r") + L"\""),
         L"-q"});
    EXPECT_EQ(result.code, 3);
    EXPECT_EQ(result.errors, "zel: a.drq: the task declined; a server would ask it again\n");
    EXPECT_EQ(Read(InHome(L"r")), "forced\n");
}

TEST_F(RunTaskCommandTest, AStopCancelsTheTask)
{
    platform::SProcessOptions options;
    CRunningProgram program(L"zel", {L"run-task", TestModule(), MakeGate(L"a.drq")}, options);
    ASSERT_TRUE(WaitUntilAtGate(L"a.drq"));
    program.Process().RequestStop();
    const SProgramResult result = program.Finish();
    EXPECT_EQ(result.code, 130) << result.errors;
    EXPECT_EQ(result.output, "");
}

TEST_F(RunTaskCommandTest, ASecondStopEndsATaskThatDoesNotAsk)
{
    const std::wstring request =
        MakeRequest(L"a.drq", L"Type=\"Gate\" Deaf=\"1\" GateFile=\"" + Gate(L"a.drq") + L"\"");
    platform::SProcessOptions options;
    for (const wchar_t* const name : {L"TMPDIR", L"TMP"})
        options.environment.emplace_back(name, m_strHome);
    CRunningProgram program(L"zel", {L"run-task", TestModule(), request}, options);
    ASSERT_TRUE(WaitUntilAtGate(L"a.drq"));
    // Two that come together may be one, so it is asked until it ends.
    int code = -1;
    EXPECT_TRUE(WaitUntil([&] {
        program.Process().RequestStop();
        return program.Process().Wait(std::chrono::milliseconds(50), code);
    }));
    EXPECT_EQ(code, 130);
}

TEST_F(RunTaskCommandTest, ACallOfExitIsNoCleanEnd)
{
    const SProgramResult result = RunTask({TestModule(), MakeRequest(L"a.drq", L"Type=\"Crash\" Kind=\"CallExit\"")});
    EXPECT_EQ(result.code, 3);
    for (const char* const part : {"the task did not survive: a call of exit", "CrashCallExit"})
        EXPECT_TRUE(Contains(result.errors, part)) << part << '\n' << result.errors;
}

TEST_F(RunTaskCommandTest, AFaultOnAThreadOfItsOwnIsToldBeforeTheProcessEnds)
{
    if (testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized())
        GTEST_SKIP() << "IsAddressSanitized, IsThreadSanitized: the sanitizer's own handler comes first";
    const std::wstring request = MakeRequest(L"a.drq", L"Type=\"Crash\" Kind=\"OwnThread\"");
    const SProgramResult result = RunTask({TestModule(), request});
    EXPECT_NE(result.code, 0);
    EXPECT_NE(result.code, 3) << "it ends by the fault";
    for (const char* const part : {"the task did not survive: access violation", "CrashOwnThread"})
        EXPECT_TRUE(Contains(result.errors, part)) << part << '\n' << result.errors;
    const SProgramResult left = RunTask({TestModule(), request, L"--no-contain"});
    EXPECT_NE(left.code, 0);
    EXPECT_FALSE(Contains(left.errors, "the task did not survive")) << "that is a debugger's";
}

TEST_F(RunTaskCommandTest, WhatIsNoPluginIsNamed)
{
    const std::wstring request = MakeEcho(L"a.drq", L"x");
    const SProgramResult missing = RunTask({InHome(L"none.so"), request});
    EXPECT_EQ(missing.code, 1);
    EXPECT_TRUE(Contains(missing.errors, "does not exist")) << missing.errors;
    const SProgramResult other = RunTask({BrokenModule(L"zel_other_version"), request});
    EXPECT_EQ(other.code, 1);
    EXPECT_TRUE(Contains(other.errors, "version")) << other.errors;
    const SProgramResult throwing = RunTask({BrokenModule(L"zel_throwing"), request});
    EXPECT_EQ(throwing.code, 1);
    EXPECT_TRUE(Contains(throwing.errors, "zel_throwing")) << throwing.errors;
    EXPECT_EQ(RunTask({TestModule(), InHome(L"none.drq")}).code, 1);
    EXPECT_EQ(RunTask({TestModule()}).code, 2);
    EXPECT_EQ(RunTask({TestModule(), request, L"--repeat", L"0"}).code, 2);
    EXPECT_EQ(RunTask({TestModule(), request, L"--repeat", L"1000001"}).code, 2);
}
