#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/apps/ProgramFixture.h"

#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int kServerError = 3;

/// Kinds of files and locks that only these systems have.
class HostileFilesHereTest : public CProgramTest {
protected:
    void ExpectRefusedAndHonestClientServed(const std::wstring& name) const
    {
        EXPECT_EQ(Zel({L"send", MakeEcho(L"honest " + name + L".drq", L"x"), L"--wait"}).code, 0);
        const SProgramResult result = Zel({L"wait", name, L"--json"});
        EXPECT_EQ(result.code, kServerError) << result.errors;
        EXPECT_TRUE(Contains(result.output, "not a file")) << result.output;
        EXPECT_TRUE(platform::PathExists(InRequests(name))) << "it is left for whoever put it there";
    }
    static void StopWithinTwoSeconds(CRunningProgram& server)
    {
        const auto start = platform::Clock().Steady();
        StopServer(server);
        EXPECT_LT(platform::Clock().Steady() - start, std::chrono::seconds(2));
    }
    /// By hand: zel sends nothing while there is a status of that name.
    void HandOver(const std::wstring& name) const
    {
        ASSERT_EQ(platform::Files().Move(MakeEcho(name, L"x"), InRequests(name), 0), platform::eOsError_None);
    }
    /// Locks a file, made when it is missing, as programs of these systems do.
    [[nodiscard]] static int Lock(const std::wstring& path)
    {
        const int file = open(platform::NarrowPath(path).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        EXPECT_EQ(flock(file, LOCK_EX | LOCK_NB), 0);
        return file;
    }
    /// Asked without opening the file, which its writer would meet.
    [[nodiscard]] static bool HasContent(const std::wstring& path)
    {
        platform::SFileAttributes attributes;
        return platform::Succeeded(platform::Files().GetAttributes(path, attributes)) && attributes.length != 0;
    }
    [[nodiscard]] static std::string ThisProcess() { return "process " + std::to_string(getpid()) + " ("; }
};

TEST_F(HostileFilesHereTest, APipeIsRefusedAndNobodyWaitsForItsOtherEnd)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(mkfifo(platform::NarrowPath(InRequests(L"pipe.drq")).c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(platform::NarrowPath(InRequests(L"pipe.command")).c_str(), 0600), 0);
    ExpectRefusedAndHonestClientServed(L"pipe.drq");
    ExpectRefusedAndHonestClientServed(L"pipe.command");
    StopWithinTwoSeconds(server);
}

TEST_F(HostileFilesHereTest, ASocketIsRefused)
{
    CRunningProgram server = StartServer();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = platform::NarrowPath(InRequests(L"s.drq"));
    ASSERT_LT(path.size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ExpectRefusedAndHonestClientServed(L"s.drq");
    close(listener);
    StopWithinTwoSeconds(server);
}

TEST_F(HostileFilesHereTest, APipeAtAStatusIsNotWaitedFor)
{
    CRunningProgram server = StartServer();
    ASSERT_EQ(mkfifo(platform::NarrowPath(InOutput(L"x.drq.status")).c_str(), 0600), 0);
    HandOver(L"x.drq");
    EXPECT_EQ(Zel({L"send", MakeEcho(L"honest.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_TRUE(server.WaitForErrors("x.drq.status"));
    StopWithinTwoSeconds(server);
}

TEST_F(HostileFilesHereTest, AHeldStatusIsToldWithItsProcessAndHoldsUpNobodyElse)
{
    CRunningProgram server = StartServer();
    const int stranger = Lock(InOutput(L"held.drq.status"));
    HandOver(L"held.drq");
    EXPECT_EQ(Zel({L"send", MakeEcho(L"honest.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_TRUE(server.WaitForErrors("held.drq.status' is kept open by " + ThisProcess()));
    EXPECT_TRUE(WaitUntil([&] { return platform::PathExists(InOutput(L"held.drq")); })) << "it was run";
    close(stranger);
    EXPECT_TRUE(WaitUntil([&] { return HasContent(InOutput(L"held.drq.status")); }));
    EXPECT_EQ(Zel({L"wait", L"held.drq"}).code, 0) << "its end is told when the file is free";
    StopWithinTwoSeconds(server);
}

TEST_F(HostileFilesHereTest, AHeldStatusOfACommandHoldsUpNobodyElse)
{
    CRunningProgram server = StartServer();
    const int stranger = Lock(InOutput(L"c.command.status"));
    Write(InRequests(L"c.command"), "<Command Type='CancelRequest'><RequestName>none</RequestName></Command>");
    EXPECT_EQ(Zel({L"send", MakeEcho(L"honest.drq", L"x"), L"--wait"}).code, 0);
    EXPECT_TRUE(server.WaitForErrors("c.command.status' is kept open by "));
    close(stranger);
    EXPECT_TRUE(WaitUntil([&] { return HasContent(InOutput(L"c.command.status")); }));
    EXPECT_EQ(Zel({L"wait", L"c.command"}).code, 0);
    StopWithinTwoSeconds(server);
}

} // namespace
