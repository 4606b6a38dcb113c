#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/apps/posix/ExitOfChild.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// A server whose terminal is this object's. The terminal goes when the object does, or before.
class CServerAtATerminal {
public:
    CServerAtATerminal(const std::vector<std::wstring>& arguments, const std::wstring& outputFile)
        : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        std::array<char, 64> name = {};
        EXPECT_TRUE(grantpt(m_master) == 0 && unlockpt(m_master) == 0 &&
                    ptsname_r(m_master, name.data(), name.size()) == 0);
        std::vector<std::string> texts = {
            platform::NarrowPath(platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"zel-server"))};
        for (const std::wstring& argument : arguments)
            texts.push_back(platform::NarrowPath(argument));
        std::vector<char*> pointers;
        for (std::string& text : texts)
            pointers.push_back(text.data());
        pointers.push_back(nullptr);
        const std::string output = platform::NarrowPath(outputFile);
        m_child = fork();
        if (m_child == 0) {
            setsid();
            const int terminal = open(name.data(), O_RDWR); // the first one that is opened becomes the session's
            const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
            if (terminal >= 0 && file >= 0 && dup2(terminal, STDIN_FILENO) >= 0 && dup2(file, STDOUT_FILENO) >= 0 &&
                dup2(file, STDERR_FILENO) >= 0)
                execv(pointers[0], pointers.data());
            _exit(127);
        }
    }
    ~CServerAtATerminal()
    {
        TakeTerminalAway();
        if (m_child > 0) {
            kill(m_child, SIGKILL);
            waitpid(m_child, nullptr, 0);
        }
    }
    CServerAtATerminal(const CServerAtATerminal&) = delete;
    CServerAtATerminal& operator=(const CServerAtATerminal&) = delete;

    void TakeTerminalAway()
    {
        if (m_master >= 0)
            close(m_master);
        m_master = -1;
    }
    [[nodiscard]] pid_t Id() const { return m_child; }
    /// The exit code, or -1 when it does not end.
    [[nodiscard]] int Wait() { return ExitOfChild(m_child); }

private:
    int m_master;
    pid_t m_child = -1;
};

class HangUpTest : public CProgramTest {
protected:
    static void HangUp(CRunningProgram& server)
    {
        ASSERT_EQ(kill(static_cast<pid_t>(server.Process().Id()), SIGHUP), 0);
    }
};

TEST_F(HangUpTest, OpensTheLogFileAnewThatWasMovedAwayAndServesOn)
{
    const std::wstring file = m_root / L"server.log";
    CRunningProgram server = StartServer({L"--log-file", file, L"--log-level", L"debug"});
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    ASSERT_EQ(rename(platform::NarrowPath(file).c_str(), platform::NarrowPath(file + L".old").c_str()), 0);
    HangUp(server);
    ASSERT_TRUE(server.WaitForErrors("server.log' was opened anew"));
    EXPECT_TRUE(Contains(Read(file), "was opened anew")) << Read(file);
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"g.drq"}).code, 0) << "its request went on";
    EXPECT_TRUE(Contains(Read(file), "{g.drq}")) << Read(file);
    EXPECT_FALSE(Contains(Read(file + L".old"), "opened anew"));
    StopServer(server);
}

TEST_F(HangUpTest, WithoutALogFileIsToldAndChangesNothing)
{
    CRunningProgram server = StartServer();
    HangUp(server);
    ASSERT_TRUE(server.WaitForErrors("SIGHUP: there is no log file to open anew"));
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

TEST_F(HangUpTest, ALogFileThatCanNotBeOpenedAnewIsWrittenOn)
{
    const std::wstring file = m_root / L"logs/server.log";
    ASSERT_EQ(platform::Files().MakeDirectory(m_root / L"logs"), platform::eOsError_None);
    CRunningProgram server = StartServer({L"--log-file", file, L"--log-level", L"debug"});
    ASSERT_EQ(rename(platform::NarrowPath(m_root / L"logs").c_str(), platform::NarrowPath(m_root / L"moved").c_str()),
              0);
    HangUp(server);
    ASSERT_TRUE(server.WaitForErrors("server.log' cannot be opened"));
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    EXPECT_TRUE(Contains(Read(m_root / L"moved/server.log"), "{a.drq}"));
}

TEST_F(HangUpTest, ATerminalThatGoesStopsTheServerWhenTheRunningRequestHasEnded)
{
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.insert(arguments.end(), {L"--components", TestPlugins()});
    const std::wstring output = m_root / L"output.txt";
    CServerAtATerminal server(arguments, output);
    const auto waitFor = [&](const std::string& text) {
        return WaitUntil([&] { return platform::PathExists(output) && Contains(Read(output), text); });
    };
    ASSERT_TRUE(waitFor("zel-server: ready"));
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    ASSERT_EQ(kill(server.Id(), SIGHUP), 0);
    ASSERT_TRUE(waitFor("there is no log file to open anew")) << "its terminal is there";
    server.TakeTerminalAway();
    ASSERT_TRUE(waitFor("waiting for the running request to end"));
    ASSERT_EQ(kill(server.Id(), SIGHUP), 0); // a shell and the system may both tell
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(server.Wait(), 0);
    EXPECT_FALSE(Contains(Read(output), "cancelling")) << Read(output);
    EXPECT_EQ(Zel({L"status", L"g.drq"}).output.substr(0, 11), "g.drq: Done");
}

TEST_F(HangUpTest, IsIgnoredWhereItWasIgnoredBefore)
{
    struct sigaction ignored = {};
    struct sigaction before = {};
    ignored.sa_handler = SIG_IGN;
    ASSERT_EQ(sigaction(SIGHUP, &ignored, &before), 0); // as nohup does; the child inherits it
    CRunningProgram server = StartServer();
    ASSERT_EQ(sigaction(SIGHUP, &before, nullptr), 0);
    HangUp(server);
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    EXPECT_FALSE(Contains(server.Errors(), "SIGHUP")) << server.Errors();
}

TEST_F(HangUpTest, ASignalToGoOnIsToldAndIgnoredByAServerThatRunsByItself)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(kill(static_cast<pid_t>(server.Process().Id()), SIGUSR1), 0);
    ASSERT_TRUE(server.WaitForErrors("SIGUSR1 is ignored: without --manual requests run by themselves"));
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
}

} // namespace
