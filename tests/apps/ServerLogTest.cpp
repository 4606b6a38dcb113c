#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>
#include <sstream>

namespace {

/// What an operator reads of a server.
class ServerLogTest : public CProgramTest {
protected:
    /// Lines that have this text.
    static std::vector<std::string> Lines(const std::string& log, const std::string& text)
    {
        std::vector<std::string> found;
        std::istringstream stream(log);
        for (std::string line; std::getline(stream, line);) {
            if (Contains(line, text))
                found.push_back(line);
        }
        return found;
    }
    static void ExpectOne(const std::string& log, const std::string& text)
    {
        EXPECT_EQ(Lines(log, text).size(), 1U) << text << "\n" << log;
    }
    /// Of a server that serves one request, which succeeds or does not.
    [[nodiscard]] std::string LogOf(const std::wstring& request, bool succeeds,
                                    const std::vector<std::wstring>& arguments = {})
    {
        CRunningProgram server = StartServer(arguments);
        EXPECT_EQ(Zel({L"send", request, L"--wait"}).code == 0, succeeds);
        StopServer(server);
        return server.Errors();
    }
    [[nodiscard]] std::wstring MakeCrash() const { return MakeRequest(L"c.drq", L"Type='Crash' Kind='Exception'"); }
    [[nodiscard]] std::vector<std::wstring> CheckArguments(const std::vector<std::wstring>& extra = {}) const
    {
        std::vector<std::wstring> arguments = DirectoryArguments();
        arguments.insert(arguments.end(), {L"--components", TestPlugins(), L"--check"});
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        return arguments;
    }
};

TEST_F(ServerLogTest, TellsTheServersWayFromItsStartToTheCauseOfItsStop)
{
    CRunningProgram server = StartServer({L"--keep", L"3"});
    StopServer(server);
    const std::string log = server.Errors();
    ExpectOne(log, "zel-server " ZEL_VERSION " starts as process " + std::to_string(server.Process().Id()) +
                       ": requests from '" + platform::ToUtf8(m_strRequests) + "' (");
    ExpectOne(log, "output to '" + platform::ToUtf8(m_strOutput) + "' (");
    ExpectOne(log, "--log-level info --events-limit 16 --query-time-limit 300 --patience 0 --busy-warning 30 "
                   "--time-limit 0 --grace 5 "
                   "--stop-timeout 0 --keep 3 --max-queued 10000 --max-clients 1000");
    ExpectOne(log, "Plug-in 'Tasks for tests and the bench' (");
    ExpectOne(log, "Echo, Sleep, Gate");
    ExpectOne(log, "Plug-in 'Data store' (");
    ExpectOne(log, "Ready: requests are accepted");
    ExpectOne(log, "The server stops: ");
    EXPECT_FALSE(Lines(log, "The server stops: ").front().ends_with("stops: ")) << "without its cause: " << log;
    ExpectOne(log, "The server has stopped");
    EXPECT_FALSE(Contains(log, ".cpp:")) << "places of the source: " << log;
}

TEST_F(ServerLogTest, TellsEachStepOfARequestOnce)
{
    const std::string log = LogOf(MakeEcho(L"a.drq", L"x"), true);
    const std::vector<std::string> lines = Lines(log, "{a.drq}");
    ASSERT_EQ(lines.size(), 3U) << log;
    EXPECT_TRUE(lines[0].ends_with("{a.drq} Received: a request of " + std::to_string(Read(InHome(L"a.drq")).size()) +
                                   " bytes"))
        << lines[0];
    EXPECT_TRUE(lines[1].ends_with("{a.drq} Started: type Echo")) << lines[1];
    EXPECT_TRUE(Contains(lines[2], "info     [ZelProcessor] ")) << lines[2];
    EXPECT_TRUE(Contains(lines[2], "{a.drq} Ended: Done after 0.")) << lines[2];
    EXPECT_TRUE(lines[2].ends_with(", type Echo, no progress told, a response of " +
                                   std::to_string(EchoResponse("x").size()) + " bytes"))
        << lines[2];
}

TEST_F(ServerLogTest, AFailureIsOneErrorWithItsReason)
{
    const std::string log = LogOf(MakeRequest(L"a.drq", L"Type='FailObtain' Words='the well is dry'"), false);
    const std::vector<std::string> errors = Lines(log, "Z error ");
    ASSERT_EQ(errors.size(), 1U) << log;
    EXPECT_TRUE(Contains(errors[0], "{a.drq} Ended: ServerError after ")) << errors[0];
    EXPECT_TRUE(Contains(errors[0], ", type FailObtain")) << errors[0];
    EXPECT_TRUE(errors[0].ends_with("the well is dry")) << errors[0];
}

TEST_F(ServerLogTest, ATaskThatDeclinesAgainAndAgainIsOneLine)
{
    const std::wstring record = InHome(L"record");
    const std::string log =
        LogOf(MakeRequest(L"r.drq", L"Type='Retry' EvenForced='1' Times='5' RecordFile='" + record + L"'"), true);
    const std::string asked = Read(record);
    EXPECT_GE(std::count(asked.begin(), asked.end(), '\n'), 5);
    std::vector<std::string> lines = Lines(log, "{r.drq}");
    // On a loaded machine a waiting client may look at the status for longer than the server waits for it.
    std::erase_if(lines,
                  [](const std::string& line) { return Contains(line, "the request goes on without its status"); });
    ASSERT_EQ(lines.size(), 4U) << log;
    EXPECT_TRUE(Contains(lines[2], "Put off: its task is not ready")) << lines[2];
    EXPECT_TRUE(Contains(lines[3], "Ended: Done")) << lines[3];
}

TEST_F(ServerLogTest, CommandsAndClientsAreTold)
{
    CRunningProgram server = StartServer();
    CRunningProgram client = StartZel({L"send", MakeGate(L"g.drq"), L"--wait"});
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    EXPECT_EQ(Zel({L"cancel", L"g.drq"}).code, 0);
    EXPECT_EQ(client.Finish().code, 6);
    CRunningProgram listener = StartZel({L"listen"});
    ASSERT_TRUE(server.WaitForErrors(" is registered\n"));
    // One that is told to stop while it registers does not unregister: it has to have taken its answer.
    const auto hasAnswer = [&] {
        const std::vector<std::wstring> files = FilesIn(m_strOutput);
        return std::ranges::none_of(files, [](const auto& name) { return name.starts_with(L"RegisterClient__"); });
    };
    ASSERT_TRUE(WaitUntil(hasAnswer));
    listener.Process().RequestStop();
    EXPECT_EQ(listener.Finish().code, 0);
    StopServer(server);
    const std::string log = server.Errors();
    ExpectOne(log, "Command: cancel g.drq: Done");
    ExpectOne(log, "{g.drq} Ended: Canceled after ");
    ExpectOne(log, "Command: register a client, answer in RegisterClient__");
    ExpectOne(log, " is registered no longer");
}

TEST_F(ServerLogTest, AFaultAsksNobodyAnything)
{
    const std::string log = LogOf(MakeCrash(), false);
    EXPECT_FALSE(Contains(log, "Write a crash report?")) << log;
    EXPECT_FALSE(Contains(log, "Nobody is asked here")) << log;
    ExpectOne(log, "zel-server: the request 'c.drq' crashed; its crash report is ");
}

TEST_F(ServerLogTest, DebugHasTheQuestionAndThePlaces)
{
    const std::string log = LogOf(MakeCrash(), false, {L"--log-level", L"debug"});
    EXPECT_TRUE(Contains(log, "Write a crash report?")) << log;
    EXPECT_TRUE(Contains(log, "Started: type Crash (Story.cpp:")) << log;
}

TEST_F(ServerLogTest, AStrictServerTellsWhatItAlwaysTold)
{
    const std::string log = LogOf(MakeCrash(), false, {L"--strict"});
    for (const char* text : {"starts as process", "Ready:", "Received:", "Started:", "Ended:", "The server stops"})
        EXPECT_FALSE(Contains(log, text)) << text << "\n" << log;
    ExpectOne(log, platform::ToUtf8(InQueue(L"c.drq")) + " (Executive.cpp:");
    ExpectOne(log, "Nobody is asked here");
}

TEST_F(ServerLogTest, FunctionsAreNamedToWhoeverDebugsAlone)
{
    const std::string report = "CZelXmlResponse::Save: ";
    for (const bool debugs : {false, true}) {
        m_strOutput = m_root / (debugs ? L"second" : L"first");
        CRunningProgram server = StartServer({L"--create-dirs", L"--log-level", debugs ? L"debug" : L"info"});
        ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"a.drq")), platform::eOsError_None);
        Write(InRequests(L"a.drq"), Read(MakeEcho(L"a.drq", L"x"))); // the tool would refuse it
        EXPECT_TRUE(server.WaitForErrors("Can't write response"));
        StopServer(server);
        const std::string log = server.Errors();
        EXPECT_EQ(Contains(log, report), debugs) << log;
        EXPECT_EQ(Contains(log, "::"), debugs) << log;
    }
}

TEST_F(ServerLogTest, ObjectsHavePlacesForWhoeverDebugsAlone)
{
    for (const bool debugs : {false, true}) {
        CRunningProgram server = StartServer({L"--log-json", L"--log-level", debugs ? L"debug" : L"info"});
        StopServer(server);
        const std::string ready = Lines(server.Errors(), "Ready: ").front();
        EXPECT_EQ(nlohmann::json::parse(ready).at("file").is_null(), !debugs) << ready;
        EXPECT_EQ(nlohmann::json::parse(ready).at("function").is_null(), !debugs) << ready;
    }
}

TEST_F(ServerLogTest, ACheckSaysWhatAStartWouldDoAndTouchesNothing)
{
    ASSERT_EQ(platform::Files().MakeDirectory(InOutput(L"Queue")), platform::eOsError_None);
    Write(InOutput(L"a.drq"), "response");
    Write(InQueue(L"b.drq"), "request");
    const SProgramResult result = ServerResult(CheckArguments());
    EXPECT_EQ(result.code, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(Contains(result.output, "the start deletes 2 files in the output directory")) << result.output;
    EXPECT_TRUE(Contains(result.output, "Echo, Sleep, Gate")) << result.output;
    EXPECT_TRUE(result.output.ends_with("the server would start\n")) << result.output;
    EXPECT_TRUE(Contains(ServerResult(CheckArguments({L"--resume"})).output, "the start takes over 2 files"));
    EXPECT_EQ(Read(InOutput(L"a.drq")), "response");
    EXPECT_EQ(FilesIn(m_strRequests), std::vector<std::wstring>());
    EXPECT_FALSE(platform::PathExists(InOutput(L".zel-server")));
}

TEST_F(ServerLogTest, ACheckFindsWhatAStartWouldFailFor)
{
    Write(InOutput(L"letter.txt"), "mine");
    const SProgramResult foreign = ServerResult(CheckArguments());
    EXPECT_EQ(foreign.code, 1);
    EXPECT_TRUE(Contains(foreign.errors, "the first is 'letter.txt'")) << foreign.errors;
    EXPECT_FALSE(Contains(foreign.output, "would start")) << foreign.output;
    const SProgramResult log = ServerResult(CheckArguments({L"--adopt", L"--log-file", m_root / L"none/server.log"}));
    EXPECT_EQ(log.code, 1);
    EXPECT_TRUE(Contains(log.errors, "cannot be opened: there is no folder")) << log.errors;
    const SProgramResult made = ServerResult(
        {L"--request-dir", m_root / L"new/in", L"--output-dir", m_root / L"new/out", L"--create-dirs", L"--check"});
    EXPECT_EQ(made.code, 0) << made.errors;
    EXPECT_TRUE(Contains(made.output, "new/out' (will be created)") || Contains(made.output, "out' (will be created)"))
        << made.output;
    EXPECT_FALSE(platform::PathExists(m_root / L"new"));
    EXPECT_EQ(ServerResult(CheckArguments({L"--bogus"})).code, 2);
}

} // namespace
