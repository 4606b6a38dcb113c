#include "platform/Module.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/apps/posix/ExitOfChild.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

/// `zel watch` whose terminal is this object's.
class CWatchAtATerminal {
public:
    explicit CWatchAtATerminal(const std::vector<std::wstring>& directories)
        : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        std::array<char, 64> name = {};
        EXPECT_TRUE(grantpt(m_master) == 0 && unlockpt(m_master) == 0 &&
                    ptsname_r(m_master, name.data(), name.size()) == 0);
        m_slave = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC); // what is set there stays while it is open
        Resize(100, 10);
        EXPECT_EQ(tcgetattr(m_slave, &m_before), 0);
        std::vector<std::string> texts = {
            platform::NarrowPath(platform::JoinPath(platform::DirectoryOf(platform::ProgramPath()), L"zel")), "watch"};
        for (const std::wstring& argument : directories)
            texts.push_back(platform::NarrowPath(argument));
        std::vector<char*> pointers;
        for (std::string& text : texts)
            pointers.push_back(text.data());
        pointers.push_back(nullptr);
        m_child = fork();
        if (m_child == 0) {
            setsid();
            setenv("TERM", "xterm", 1);
            setenv("LC_ALL", "C.UTF-8", 1);
            const int terminal = open(name.data(), O_RDWR);
            if (terminal >= 0 && dup2(terminal, STDIN_FILENO) >= 0 && dup2(terminal, STDOUT_FILENO) >= 0 &&
                dup2(terminal, STDERR_FILENO) >= 0)
                execv(pointers[0], pointers.data());
            _exit(127);
        }
    }
    ~CWatchAtATerminal()
    {
        if (m_child > 0) {
            kill(m_child, SIGKILL);
            waitpid(m_child, nullptr, 0);
        }
        close(m_slave);
        close(m_master);
    }
    CWatchAtATerminal(const CWatchAtATerminal&) = delete;
    CWatchAtATerminal& operator=(const CWatchAtATerminal&) = delete;

    void Resize(unsigned short columns, unsigned short rows) const
    {
        const winsize size = {.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        EXPECT_EQ(ioctl(m_slave, TIOCSWINSZ, &size), 0);
    }
    void Press(const std::string& keys) const
    {
        EXPECT_EQ(write(m_master, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    /// Reads what is drawn until this comes, and forgets it.
    [[nodiscard]] bool Sees(const std::string& text)
    {
        const auto end = platform::Clock().Steady() + kPatience;
        while (m_drawn.find(text) == m_drawn.npos && platform::Clock().Steady() < end) {
            pollfd output = {m_master, POLLIN, 0};
            std::array<char, 4096> bytes;
            if (poll(&output, 1, 100) != 1)
                continue;
            const ssize_t got = read(m_master, bytes.data(), bytes.size());
            if (got <= 0)
                break;
            m_drawn.append(bytes.data(), static_cast<std::size_t>(got));
        }
        const std::size_t at = m_drawn.find(text);
        EXPECT_NE(at, m_drawn.npos) << text << " is not in:\n" << m_drawn;
        m_drawn.erase(0, at == m_drawn.npos ? 0 : at + text.size());
        return at != m_drawn.npos;
    }
    [[nodiscard]] bool HasModesAsBefore() const
    {
        termios now = {};
        return tcgetattr(m_slave, &now) == 0 && now.c_lflag == m_before.c_lflag && now.c_iflag == m_before.c_iflag &&
               now.c_oflag == m_before.c_oflag && std::equal(now.c_cc, now.c_cc + NCCS, m_before.c_cc);
    }
    [[nodiscard]] pid_t Id() const { return m_child; }
    /// The exit code, or -1 when it does not end.
    [[nodiscard]] int Wait() { return ExitOfChild(m_child); }

private:
    int m_master;
    int m_slave = -1;
    termios m_before = {};
    pid_t m_child = -1;
    std::string m_drawn;
};

class WatchTerminalTest : public CProgramTest {
protected:
    void MakeStatus(const std::wstring& name, const std::string& text) const
    {
        Write(InOutput(name + L".status"), platform::ToUtf16Le(platform::FromUtf8(text)));
    }
};

TEST_F(WatchTerminalTest, TheBarMovesKeysSteerAndTheTerminalIsAsBefore)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    ASSERT_EQ(Zel({L"send", MakeEcho(L"w.drq", L"x")}).code, 0);
    CWatchAtATerminal watch(DirectoryArguments());
    ASSERT_TRUE(watch.Sees("\x1b[?1049h"));
    ASSERT_TRUE(watch.Sees("1 running, 1 waiting, 0 paused, 0 ended"));
    EXPECT_FALSE(watch.HasModesAsBefore()) << "keys are read as they are pressed";
    MakeStatus(L"bar.drq", "8\r\nProgressPerc=10\r\n");
    ASSERT_TRUE(watch.Sees("[##                  ]  10 % "));
    MakeStatus(L"bar.drq", "8\r\nProgressPerc=60\r\n");
    ASSERT_TRUE(watch.Sees("[############        ]  60 % "));
    ASSERT_EQ(platform::Files().Remove(InOutput(L"bar.drq.status")), platform::eOsError_None);
    ASSERT_TRUE(watch.Sees("1 running, 1 waiting, 0 paused, 0 ended"));
    watch.Press("?");
    ASSERT_TRUE(watch.Sees("c cancel, p pause, r resume"));
    watch.Press("\x1b[B");
    ASSERT_TRUE(watch.Sees("> w.drq"));
    watch.Press("p");
    ASSERT_TRUE(watch.Sees("0 waiting, 1 paused"));
    watch.Press("r");
    ASSERT_TRUE(watch.Sees("1 waiting, 0 paused"));
    watch.Press("k");
    ASSERT_TRUE(watch.Sees("> g.drq"));
    watch.Resize(30, 4);
    ASSERT_TRUE(watch.Sees("\n> g.drq"));
    watch.Press("c");
    EXPECT_EQ(Zel({L"wait", L"g.drq", L"-q"}).code, 6);
    EXPECT_EQ(Zel({L"wait", L"w.drq"}).code, 0);
    watch.Press("q");
    ASSERT_TRUE(watch.Sees("\x1b[?25h\x1b[?1049l"));
    EXPECT_EQ(watch.Wait(), 0);
    EXPECT_TRUE(watch.HasModesAsBefore());
    StopServer(server);
}

TEST_F(WatchTerminalTest, CtrlCAndASignalRestoreTheTerminal)
{
    for (const bool isKey : {true, false}) {
        CWatchAtATerminal watch(DirectoryArguments());
        ASSERT_TRUE(watch.Sees("0 running, 0 waiting"));
        if (isKey)
            watch.Press("\x03");
        else
            ASSERT_EQ(kill(watch.Id(), SIGTERM), 0);
        ASSERT_TRUE(watch.Sees("\x1b[?1049l"));
        EXPECT_EQ(watch.Wait(), 130);
        EXPECT_TRUE(watch.HasModesAsBefore());
    }
}

TEST_F(WatchTerminalTest, LinesThatAreAskedForLeaveTheTerminalAlone)
{
    std::vector<std::wstring> arguments = DirectoryArguments();
    arguments.push_back(L"--json");
    Write(InRequests(L"a.drq"), "");
    CWatchAtATerminal watch(arguments);
    ASSERT_TRUE(watch.Sees("{\"name\":\"a.drq\""));
    EXPECT_TRUE(watch.HasModesAsBefore());
    watch.Press("\x03");
    EXPECT_EQ(watch.Wait(), 130);
}

} // namespace
