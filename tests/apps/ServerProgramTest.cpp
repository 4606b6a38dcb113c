#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace {

class ServerProgramTest : public CProgramTest {
protected:
    [[nodiscard]] int StatusOf(const std::wstring& name) const
    {
        const SProgramResult result = Zel({L"status", name, L"--json"});
        const std::vector<nlohmann::json> objects = result.Objects();
        return objects.size() == 1 ? objects[0]["status"].get<int>() : -1;
    }
    [[nodiscard]] bool IsDone(const std::wstring& name) const
    {
        return platform::PathExists(InOutput(name)) && !platform::PathExists(InQueue(name));
    }
};

TEST_F(ServerProgramTest, WithoutPlugInsItSaysWhatToDoAndDeletesNothing)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    Write(InOutput(L"response.drq"), "keep");
    const SProgramResult result = LonelyServerResult(DirectoryArguments());
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "--components")) << result.errors;
    EXPECT_EQ(Read(InOutput(L"response.drq")), "keep");
}

TEST_F(ServerProgramTest, PlugInsThatCannotBeUsedAreNamedAndTheOthersServe)
{
    Write(InHome(L"broken.component"), "<component>");
    CRunningProgram server = StartServer({L"--components", m_strHome, L"--components", m_root / L"nowhere"});
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    EXPECT_TRUE(Contains(server.Errors(), "broken.component")) << server.Errors();
    EXPECT_TRUE(Contains(server.Errors(), "nowhere")) << server.Errors();
}

TEST_F(ServerProgramTest, PlugInFoldersAreTakenFromTheEnvironment)
{
    platform::SProcessOptions options;
    options.environment = {{L"ZEL_COMPONENT_PATH", TestPlugins()}};
    CRunningProgram server(L"zel-server", DirectoryArguments(), options);
    std::wstring line;
    ASSERT_TRUE(server.Process().ReadLine(line, kPatience)) << server.Errors();
    EXPECT_EQ(line, L"zel-server: ready");
    StopServer(server);
}

TEST_F(ServerProgramTest, FilesThatLayThereBeforeAreServed)
{
    Write(InRequests(L"early.drq"), Read(MakeEcho(L"early.drq", L"bird")));
    CRunningProgram server = StartServer();
    EXPECT_TRUE(WaitUntil([&] { return IsDone(L"early.drq"); }));
    EXPECT_EQ(Read(InOutput(L"early.drq")), EchoResponse("bird"));
    StopServer(server);
}

TEST_F(ServerProgramTest, OtherFilesAndFoldersAreLeftAlone)
{
    Write(InRequests(L"notes.txt"), "mine");
    Write(InRequests(L"x.drq.tmp"), "mine");
    ASSERT_EQ(platform::Files().MakeDirectory(InRequests(L"x.drq")), platform::eOsError_None);
    CRunningProgram server = StartServer();
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_EQ(Read(InRequests(L"notes.txt")), "mine");
    EXPECT_EQ(FilesIn(m_strRequests), (std::vector<std::wstring>{L"notes.txt", L"x.drq.tmp"}));
    EXPECT_TRUE(platform::DirectoryExists(InRequests(L"x.drq")));
    StopServer(server);
}

TEST_F(ServerProgramTest, FileThatSomebodyStillWritesIsTakenWhenItIsClosed)
{
    CRunningProgram server = StartServer();
    const std::string text = Read(MakeEcho(L"slow.drq", L"slow"));
    const std::size_t half = text.size() / 2;
    {
        // This test is another process, and a stranger to the system's own ways of opening files.
        std::ofstream writer(testsupport::StandardPath(InRequests(L"slow.drq")), std::ios::binary);
        writer << text.substr(0, half) << std::flush;
        // The server looks again at every change of a name; make some, and give it something to serve if it could.
        for (int round = 0; round < 20; ++round) {
            Write(InRequests(L"change.tmp"), "");
            ASSERT_EQ(platform::Files().Remove(InRequests(L"change.tmp")), platform::eOsError_None);
            platform::Clock().SleepFor(std::chrono::milliseconds(10));
            ASSERT_TRUE(platform::PathExists(InRequests(L"slow.drq")));
        }
        writer << text.substr(half);
    }
    EXPECT_TRUE(WaitUntil([&] { return IsDone(L"slow.drq"); }));
    EXPECT_EQ(Read(InOutput(L"slow.drq")), EchoResponse("slow"));
    StopServer(server);
}

TEST_F(ServerProgramTest, ManualStepRunsWhatIsQueued)
{
    platform::SProcessOptions options;
    options.pipeInput = true;
    CRunningProgram server = StartServer({L"--manual"}, options);
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"A"), MakeEcho(L"b.drq", L"B")}).code, 0);
    ASSERT_TRUE(
        WaitUntil([&] { return platform::PathExists(InQueue(L"a.drq")) && platform::PathExists(InQueue(L"b.drq")); }));
    EXPECT_EQ(StatusOf(L"a.drq"), 5);
    EXPECT_EQ(StatusOf(L"b.drq"), 5);
    ASSERT_TRUE(RequestStep(server.Process()));
    EXPECT_EQ(Zel({L"wait", L"a.drq", L"b.drq"}).code, 0);
    StopServer(server);
}

TEST_F(ServerProgramTest, WithoutExecutiveRequestsAreQueuedAndNeverRun)
{
    CRunningProgram server = StartServer({L"--no-executive", L"--no-sync"});
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"A")}).code, 0);
    ASSERT_TRUE(WaitUntil([&] { return platform::PathExists(InQueue(L"a.drq")); }));
    EXPECT_EQ(Zel({L"wait", L"a.drq", L"--timeout", L"0.3"}).code, 7);
    EXPECT_EQ(StatusOf(L"a.drq"), 5);
    StopServer(server);
}

TEST_F(ServerProgramTest, AfterItWasKilledTheStatusTellsTheTruth)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    server.Process().Kill();
    static_cast<void>(server.Finish());

    CRunningProgram next = StartServer();
    EXPECT_EQ(StatusOf(L"g.drq"), 4);
    EXPECT_EQ(Zel({L"wait", L"g.drq"}).code, 5);
    // The name is free, and the new server is whole.
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(Zel({L"send", InHome(L"g.drq"), L"--wait"}).code, 0);
    StopServer(next);
}

TEST_F(ServerProgramTest, CrashingRequestsDoNotEndIt)
{
    // A contained fault jumps over the frames that own memory, so what is lost then is no finding. A server without the
    // leak checker does not know the variable.
    platform::SProcessOptions options;
    options.environment = {{L"LSAN_OPTIONS", L"detect_leaks=0"}, {L"ZEL_CRASH_DIR", m_strHome}};
    CRunningProgram server = StartServer({L"--log-level", L"critical"}, std::move(options));
    for (const wchar_t* kind : {L"NullDereference", L"StackOverflow", L"Abort", L"Exception"}) {
        const std::wstring name = std::wstring(kind) + L".drq";
        const std::wstring file = MakeRequest(name, L"Type=\"Crash\" Kind=\"" + std::wstring(kind) + L"\"");
        EXPECT_EQ(Zel({L"send", file, L"--wait"}).code, 3) << platform::ToUtf8(name);
        EXPECT_EQ(Zel({L"send", MakeEcho(L"after-" + name, L"x"), L"--wait"}).code, 0);
    }
    StopServer(server);
    // Whatever the level of the log, whoever started the server learns where each report is.
    const std::string told = "zel-server: the request 'Abort.drq' crashed; its crash report is " +
                             platform::ToUtf8(platform::JoinPath(m_strHome, L"zel-crash-"));
    EXPECT_TRUE(Contains(server.Errors(), told)) << server.Errors();
    const std::vector<std::wstring> files = FilesIn(m_strHome);
    EXPECT_EQ(std::ranges::count_if(files, [](const std::wstring& name) { return name.starts_with(L"zel-crash-"); }),
              4);
}

} // namespace
