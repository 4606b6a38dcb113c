#include "platform/Os.h"
#include "platform/Text.h"
#include "tests/apps/ProgramFixture.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

/// A service manager that listens.
class CNotifySocket {
public:
    explicit CNotifySocket(const std::wstring& path) : m_socket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const std::string narrow = platform::ToUtf8(path);
        EXPECT_LT(narrow.size(), sizeof address.sun_path);
        std::ranges::copy(narrow, address.sun_path);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ~CNotifySocket() { close(m_socket); }
    CNotifySocket(const CNotifySocket&) = delete;
    CNotifySocket& operator=(const CNotifySocket&) = delete;

    [[nodiscard]] std::string Receive(int milliseconds = 60'000) const
    {
        pollfd wait = {m_socket, POLLIN, 0};
        std::array<char, 256> buffer = {};
        if (poll(&wait, 1, milliseconds) != 1)
            return "nothing came";
        const ssize_t length = recv(m_socket, buffer.data(), buffer.size(), 0);
        return std::string(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    }

private:
    int m_socket;
};

class ReadinessTest : public CProgramTest {};

TEST_F(ReadinessTest, ServiceManagerIsToldOfStartAndStop)
{
    const CNotifySocket manager(m_root / L"notify");
    platform::SProcessOptions options;
    options.environment = {{L"NOTIFY_SOCKET", m_root / L"notify"}};
    CRunningProgram server = StartServer({}, options);
    EXPECT_EQ(manager.Receive(), "READY=1");
    StopServer(server);
    EXPECT_EQ(manager.Receive(), "STOPPING=1");
}

TEST_F(ReadinessTest, TheWatchdogIsFedWhileATaskRunsAndWhileNothingDoes)
{
    const CNotifySocket manager(m_root / L"notify");
    platform::SProcessOptions options;
    // Longer than two turns of the listener, so that each look finds one.
    options.environment = {{L"NOTIFY_SOCKET", m_root / L"notify"}, {L"WATCHDOG_USEC", L"6000000"}};
    CRunningProgram server = StartServer({}, options);
    EXPECT_EQ(manager.Receive(), "READY=1");
    EXPECT_EQ(manager.Receive(), "WATCHDOG=1");
    ASSERT_EQ(Zel({L"send", MakeGate(L"g.drq")}).code, 0);
    ASSERT_TRUE(WaitUntilAtGate(L"g.drq"));
    EXPECT_EQ(manager.Receive(), "WATCHDOG=1");
    EXPECT_EQ(manager.Receive(), "WATCHDOG=1") << "in the task all the time";
    Write(Gate(L"g.drq"), "");
    EXPECT_EQ(Zel({L"wait", L"g.drq"}).code, 0);
    EXPECT_EQ(server.Errors().find("makes no progress"), std::string::npos) << server.Errors();
    StopServer(server);
}

TEST_F(ReadinessTest, TheWatchdogIsFedWhileSomebodyHoldsAFileWithoutEnd)
{
    const CNotifySocket manager(m_root / L"notify");
    platform::SProcessOptions options;
    options.environment = {{L"NOTIFY_SOCKET", m_root / L"notify"}, {L"WATCHDOG_USEC", L"4000000"}};
    CRunningProgram server = StartServer({L"--strict"}, options);
    EXPECT_EQ(manager.Receive(), "READY=1");
    std::ofstream stranger(testsupport::StandardPath(InRequests(L"held.drq")));
    stranger << Read(MakeEcho(L"held.drq", L"x")) << std::flush;
    ASSERT_EQ(platform::Files().Move(MakeEcho(L"next.drq", L"x"), InRequests(L"next.drq"), 0), platform::eOsError_None);
    for (int step = 0; step < 3; ++step)
        EXPECT_EQ(manager.Receive(), "WATCHDOG=1") << server.Errors();
    EXPECT_TRUE(platform::PathExists(InRequests(L"held.drq"))) << "it was not waited for";
    stranger.close();
    EXPECT_EQ(Zel({L"wait", L"held.drq", L"next.drq"}).code, 0);
    EXPECT_EQ(server.Errors().find("makes no progress"), std::string::npos) << server.Errors();
    StopServer(server);
}

TEST_F(ReadinessTest, SignalsDoNotPutTheWatchdogOff)
{
    const CNotifySocket manager(m_root / L"notify");
    platform::SProcessOptions options;
    options.environment = {{L"NOTIFY_SOCKET", m_root / L"notify"}, {L"WATCHDOG_USEC", L"6000000"}};
    CRunningProgram server = StartServer({L"--manual"}, options);
    EXPECT_EQ(manager.Receive(), "READY=1");
    // It is fed every three seconds; the signals come ten times as often, and for ten times as long.
    std::string told;
    for (int signal = 0; signal < 100 && told != "WATCHDOG=1"; ++signal) {
        ASSERT_TRUE(RequestStep(server.Process()));
        told = manager.Receive(300);
    }
    EXPECT_EQ(told, "WATCHDOG=1");
    StopServer(server);
}

TEST_F(ReadinessTest, TheWatchdogOfAnotherProcessIsNotFed)
{
    const CNotifySocket manager(m_root / L"notify");
    platform::SProcessOptions options;
    options.environment = {
        {L"NOTIFY_SOCKET", m_root / L"notify"}, {L"WATCHDOG_USEC", L"1000"}, {L"WATCHDOG_PID", L"1"}};
    CRunningProgram server = StartServer({}, options);
    EXPECT_EQ(manager.Receive(), "READY=1");
    ASSERT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    StopServer(server);
    EXPECT_EQ(manager.Receive(), "STOPPING=1");
}

} // namespace
