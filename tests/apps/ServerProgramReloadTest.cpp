#include "platform/Os.h"
#include "tests/apps/ProgramFixture.h"

namespace {

/// A server that reads its options again when it is asked to, in the way of this system.
class ServerProgramReloadTest : public CProgramTest {
protected:
    /// With this text in its file.
    [[nodiscard]] CRunningProgram StartWith(const std::string& text, std::vector<std::wstring> arguments = {}) const
    {
        Write(m_strFile, text);
        arguments.insert(arguments.end(), {L"--config", m_strFile});
        return StartServer(arguments);
    }
    /// Puts this text into the file, asks the server to read it, and waits until it says so.
    void Reload(CRunningProgram& server, const std::string& text, const std::string& answer) const
    {
        Write(m_strFile, text);
        server.Process().RequestReload();
        ASSERT_TRUE(server.WaitForErrors(answer)) << server.Errors();
    }
    [[nodiscard]] std::string Log() const { return Read(m_strLog); }

    const std::wstring m_strFile = m_root / L"zel-server.conf";
    const std::wstring m_strLog = m_root / L"server.log";
};

TEST_F(ServerProgramReloadTest, ALevelOfTheLogChangesAtOnceAndBackAgain)
{
    CRunningProgram server = StartWith("log-file = server.log\n");
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_FALSE(Contains(Log(), " debug ")) << Log();
    ASSERT_NO_FATAL_FAILURE(Reload(server, "log-file = server.log\nlog-level = debug\n", "--log-level has changed\n"));
    ASSERT_EQ(Zel({L"send", MakeEcho(L"b.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_TRUE(Contains(Log(), " debug ")) << Log();
    EXPECT_TRUE(Contains(Log(), "zel-server.conf' was read again")) << Log();
    EXPECT_FALSE(Contains(server.Errors(), "next start")) << server.Errors();

    ASSERT_NO_FATAL_FAILURE(Reload(server, "log-file = server.log\nlog-level = error\nstop-timeout = 50\n",
                                   "--stop-timeout has changed\n"));
    const std::string before = Log(); // the server keeps it open, so it cannot be emptied
    ASSERT_EQ(Zel({L"send", MakeEcho(L"c.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_EQ(Log(), before);
    StopServer(server);
}

TEST_F(ServerProgramReloadTest, AnOptionThatIsOfTheStartIsNamedAndServedOnAsItWas)
{
    CRunningProgram server = StartWith("keep = 7\n");
    ASSERT_NO_FATAL_FAILURE(Reload(server, "keep = 9\nmax-queued = 3\noutput-dir = elsewhere\n",
                                   "--max-queued has changed, which takes effect at the next start\n"));
    EXPECT_TRUE(Contains(server.Errors(), "--keep has changed, which takes effect at the next start\n"));
    EXPECT_FALSE(Contains(server.Errors(), "--output-dir")) << "the command line has it\n" << server.Errors();
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

TEST_F(ServerProgramReloadTest, ClientsAreToldWhatIsInForce)
{
    CRunningProgram server = StartWith("keep = 7\n");
    const auto told = [&](const std::string& text) { return Contains(Zel({L"server", L"--json"}).output, text); };
    ASSERT_TRUE(told("\"--keep\",\"7\""));
    ASSERT_NO_FATAL_FAILURE(Reload(server, "keep = 9\nlog-level = warning\n", "--log-level has changed\n"));
    EXPECT_TRUE(WaitUntil([&] { return told("\"--log-level\",\"warning\""); }));
    EXPECT_TRUE(told("\"--keep\",\"7\""));
    StopServer(server);
}

TEST_F(ServerProgramReloadTest, AFileThatIsBadByThenChangesNothing)
{
    CRunningProgram server = StartWith("log-level = warning\n");
    ASSERT_NO_FATAL_FAILURE(Reload(server, "log-level = debug\npatiense = 4\n",
                                   "', line 2: not understood: patiense; did you mean patience?; the options stay"));
    ASSERT_EQ(platform::Files().Remove(m_strFile), platform::eOsError_None);
    server.Process().RequestReload();
    ASSERT_TRUE(server.WaitForErrors("zel-server.conf' cannot be read: "));
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_FALSE(Contains(server.Errors(), " debug ")) << server.Errors();
    EXPECT_FALSE(Contains(server.Errors(), "has changed")) << server.Errors();
    StopServer(server);
}

TEST_F(ServerProgramReloadTest, AFileThatIsTheSameIsReadAndChangesNothing)
{
    CRunningProgram server = StartWith("keep = 7\n");
    ASSERT_NO_FATAL_FAILURE(
        Reload(server, "# The same.\nkeep = 7\nfair = false\n", "zel-server.conf' was read again\n"));
    StopServer(server);
    EXPECT_FALSE(Contains(server.Errors(), "has changed")) << server.Errors();
}

TEST_F(ServerProgramReloadTest, WithoutAFileTheLogSaysThatNothingIsRead)
{
    CRunningProgram server = StartServer();
    server.Process().RequestReload();
    ASSERT_TRUE(server.WaitForErrors("No options are read again: no file of them was named with --config"));
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

TEST_F(ServerProgramReloadTest, ARunningRequestGoesOn)
{
    CRunningProgram server = StartWith("keep = 7\n");
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    ASSERT_NO_FATAL_FAILURE(Reload(server, "stop-timeout = 60\n", "--stop-timeout has changed\n"));
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"g.drq"}).code, 0);
    StopServer(server);
}

TEST_F(ServerProgramReloadTest, ATimeToStopThatWasReadAgainEndsAServerWhoseTaskDoesNotLook)
{
    CRunningProgram server = StartWith("");
    ASSERT_EQ(
        Zel({L"send", MakeRequest(L"g.drq", L"Type=\"Gate\" Deaf=\"1\" GateFile=\"" + Gate(L"g.drq") + L"\"")}).code,
        0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    ASSERT_NO_FATAL_FAILURE(Reload(server, "stop-timeout = 0.2\n", "--stop-timeout has changed\n"));
    server.Process().RequestStop();
    const SProgramResult result = server.Finish();
    EXPECT_EQ(result.code, 1);
    EXPECT_TRUE(Contains(result.errors, "the time of --stop-timeout is over")) << result.errors;
}

} // namespace
