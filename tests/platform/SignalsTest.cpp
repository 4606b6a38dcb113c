#include "platform/Process.h"

#include "platform/Thread.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

namespace platform {
namespace {

using namespace std::chrono_literals;
constexpr auto kSignalTime = 60s;

int Serve(const std::vector<std::wstring>&)
{
    CProgramSignals signals(eSignalSet_Tool);
    CManualResetEvent end;
    CThread worker; // inherits what was set up before it
    if (!worker.Start([&end] {
            end.Wait();
            return 0U;
        }))
        return 1;
    eProgramSignal received = eProgramSignal_Step;
    if (signals.WaitFor(10ms, received))
        return 2;
    testsupport::TellParent(L"serving");
    const bool stopped = signals.WaitFor(kSignalTime, received) && received == eProgramSignal_Stop;
    testsupport::TellParent(L"stopping");
    end.Set();
    return stopped && worker.Join() ? 21 : 3;
}
const testsupport::CChildPart servePart(L"signals-serve", &Serve);

TEST(SignalsTest, ARequestToStopIsReceivedAndDoesNotEndTheProgramByItself)
{
    auto child = testsupport::StartChild(L"signals-serve", {});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"serving"));
    child.RequestStop();
    EXPECT_TRUE(testsupport::WaitForChild(child, L"stopping"));
    EXPECT_EQ(testsupport::FinishChild(child), 21);
}

int ServeAndReload(const std::vector<std::wstring>&)
{
    CProgramSignals signals(eSignalSet_Server);
    testsupport::TellParent(L"serving");
    eProgramSignal received = eProgramSignal_Step;
    const bool reloads = signals.WaitFor(kSignalTime, received) && received == eProgramSignal_Reload;
    testsupport::TellParent(L"reloading");
    return reloads && signals.WaitFor(kSignalTime, received) && received == eProgramSignal_Stop ? 22 : 3;
}
const testsupport::CChildPart reloadPart(L"signals-reload", &ServeAndReload);

TEST(SignalsTest, ARequestToReloadIsReceivedByAServer)
{
    auto child = testsupport::StartChild(L"signals-reload", {});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"serving"));
    child.RequestReload();
    EXPECT_TRUE(testsupport::WaitForChild(child, L"reloading"));
    child.RequestStop();
    EXPECT_EQ(testsupport::FinishChild(child), 22);
}

} // namespace
} // namespace platform
