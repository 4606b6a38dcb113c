#include "platform/Process.h"

#include "platform/FileSystem.h"
#include "platform/Module.h"
#include "platform/Path.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace platform {
namespace {

using namespace std::chrono_literals;
constexpr auto kSoon = 60s;

int Step(const std::vector<std::wstring>&)
{
    CProgramSignals signals(eSignalSet_SteppedServer);
    testsupport::TellParent(L"serving");
    eProgramSignal received = eProgramSignal_Stop;
    while (signals.WaitFor(kSoon, received) && received == eProgramSignal_Step)
        testsupport::TellParent(L"step");
    return received == eProgramSignal_Stop ? 0 : 1;
}
const testsupport::CChildPart stepPart(L"signals-step", &Step);

int CloseOutputAndWrite(const std::vector<std::wstring>&)
{
    int ends[2] = {};
    if (pipe(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0 || close(ends[0]) != 0 || close(ends[1]) != 0)
        return 1;
    return WriteConsoleText(eStream_Output, L"into the void") ? 2 : 61;
}
const testsupport::CChildPart closedPart(L"console-closed", &CloseOutputAndWrite);

/// Writes more than it may; the exit code is the failure.
int WriteBeyondTheLimit(const std::vector<std::wstring>& arguments)
{
    const rlimit limit = {4096, 4096};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
        return 200;
    const CProgramSignals signals(eSignalSet_Tool);
    const auto error = WriteWholeFile(arguments[0], std::string(10'000, 'x'));
    return error == eOsError_FileTooLarge ? 62 : static_cast<int>(error);
}
const testsupport::CChildPart limitPart(L"signals-file-size", &WriteBeyondTheLimit);

/// Ends as a program does that knows nothing of the limit.
int MeetTheLimit(const std::vector<std::wstring>&)
{
    static_cast<void>(raise(SIGXFSZ));
    return 63;
}
const testsupport::CChildPart meetPart(L"signals-meet-limit", &MeetTheLimit);

TEST(PosixProcessTest, ALimitOfTheFileSizeFailsTheWriteAndNotTheProgram)
{
    const testsupport::CTemporaryDirectory directory;
    auto child = testsupport::StartChild(L"signals-file-size", {directory / L"file"});
    EXPECT_EQ(testsupport::FinishChild(child), 62);
    const CProgramSignals signals(eSignalSet_Tool);
    auto other = testsupport::StartChild(L"signals-meet-limit", {});
    EXPECT_EQ(testsupport::FinishChild(other), 128 + SIGXFSZ) << "children are not made to ignore it";
}

TEST(PosixProcessTest, StepsAndStopsAreToldApart)
{
    auto child = testsupport::StartChild(L"signals-step", {});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"serving"));
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(kill(static_cast<pid_t>(child.Id()), SIGUSR1), 0);
        EXPECT_TRUE(testsupport::WaitForChild(child, L"step"));
    }
    ASSERT_EQ(kill(static_cast<pid_t>(child.Id()), SIGINT), 0);
    EXPECT_EQ(testsupport::FinishChild(child), 0);
}

TEST(PosixProcessTest, AKilledChildHasItsSignalInTheExitCode)
{
    auto child = testsupport::StartChild(L"process-wait", {});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"ready"));
    child.Kill();
    int exitCode = 0;
    ASSERT_TRUE(child.Wait(kSoon, exitCode));
    EXPECT_EQ(exitCode, 128 + SIGKILL);
}

TEST(PosixProcessTest, AChildDoesNotInheritBlockedSignals)
{
    // A serving program has them blocked; its children must still be stoppable.
    const CProgramSignals signals(eSignalSet_SteppedServer);
    auto child = testsupport::StartChild(L"process-wait", {});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"ready"));
    child.RequestStop();
    int exitCode = 0;
    ASSERT_TRUE(child.Wait(kSoon, exitCode));
    EXPECT_EQ(exitCode, 128 + SIGTERM);
}

TEST(PosixProcessTest, AnOutputThatIsClosedFailsTheWriteAndNotTheProgram)
{
    auto child = testsupport::StartChild(L"console-closed", {});
    EXPECT_EQ(testsupport::FinishChild(child), 61);
}

TEST(PosixProcessTest, TheServiceManagerIsTold)
{
    const testsupport::CTemporaryDirectory directory;
    const std::wstring path = directory / L"notify";
    const int listener = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ASSERT_GE(listener, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string narrow = NarrowPath(path);
    ASSERT_LT(narrow.size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, narrow.c_str(), narrow.size() + 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

    SetEnvironment(L"NOTIFY_SOCKET", path);
    EXPECT_TRUE(NotifyServiceManager("READY=1"));
    SetEnvironment(L"NOTIFY_SOCKET", L"");
    char buffer[100] = {};
    EXPECT_EQ(recv(listener, buffer, sizeof buffer, 0), 7);
    EXPECT_STREQ(buffer, "READY=1");
    close(listener);
}

} // namespace
} // namespace platform
