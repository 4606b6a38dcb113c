#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/apps/ProgramFixture.h"

#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

/// What strangers can do on these systems.
class StrangersHereTest : public CProgramTest {
protected:
    static void ExpectStopWithinTwoSeconds(CRunningProgram& server)
    {
        const auto start = platform::Clock().Steady();
        StopServer(server);
        EXPECT_LT(platform::Clock().Steady() - start, std::chrono::seconds(2));
    }
    /// A file that waits to be handed over, open.
    [[nodiscard]] int OpenRequest(const std::wstring& name, int flags) const
    {
        const int file = open(platform::NarrowPath(MakeEcho(name, L"x")).c_str(), flags | O_CLOEXEC);
        EXPECT_GE(file, 0);
        return file;
    }
    /// Hands it over while it is open, and lets the server look at it.
    void HandOver(const std::wstring& name) const
    {
        ASSERT_EQ(rename(platform::NarrowPath(InHome(name)).c_str(), platform::NarrowPath(InRequests(name)).c_str()),
                  0);
        for (int round = 0; round < 10; ++round)
            platform::Clock().SleepFor(std::chrono::milliseconds(10));
    }
};

TEST_F(StrangersHereTest, ALinkThatLeadsNowhereAtAStatusFailsThatRequestAlone)
{
    CRunningProgram server = StartServer();
    const std::wstring link = InOutput(L"x.drq.status");
    ASSERT_EQ(symlink(platform::NarrowPath(m_root / L"nowhere").c_str(), platform::NarrowPath(link).c_str()), 0);
    EXPECT_NE(Zel({L"send", MakeEcho(L"x.drq", L"x"), L"--wait", L"--timeout", L"30"}).code, 0);
    ASSERT_TRUE(server.WaitForErrors("x.drq.status")) << "what is in the way is not named";
    ASSERT_TRUE(WaitUntil([&] { return !platform::PathExists(InQueue(L"x.drq")); }));
    EXPECT_FALSE(platform::PathExists(m_root / L"nowhere")) << "the link was followed";
    EXPECT_EQ(Zel({L"send", MakeEcho(L"a.drq", L"x"), L"--wait"}).code, 0);
    ExpectStopWithinTwoSeconds(server);
}

TEST_F(StrangersHereTest, ALockOnARequestDoesNotHoldUpTheStop)
{
    CRunningProgram server = StartServer();
    const int file = OpenRequest(L"held.drq", O_RDWR);
    ASSERT_EQ(flock(file, LOCK_EX), 0);
    HandOver(L"held.drq");
    ExpectStopWithinTwoSeconds(server);
    close(file);
}

TEST_F(StrangersHereTest, ALeaseOnARequestDoesNotHoldUpTheStop)
{
    // The system tells the holder that somebody waits, by a signal that would end this test; nothing is given up.
    ASSERT_NE(signal(SIGIO, SIG_IGN), SIG_ERR);
    for (const auto& [lease, flags] : {std::pair(F_RDLCK, O_RDONLY), std::pair(F_WRLCK, O_RDWR)}) {
        CRunningProgram server = StartServer();
        const int file = OpenRequest(L"held.drq", flags);
        ASSERT_EQ(fcntl(file, F_SETLEASE, lease), 0);
        HandOver(L"held.drq");
        ExpectStopWithinTwoSeconds(server);
        close(file);
        static_cast<void>(platform::Files().Remove(InRequests(L"held.drq")));
    }
    signal(SIGIO, SIG_DFL);
}

} // namespace
