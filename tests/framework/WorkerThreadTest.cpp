#include "framework/WorkerThread.h"

#include "tests/support/FaultyThreads.h"
#include "tests/support/RecordingHost.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using namespace std::chrono_literals;

/// What a thread of a test shares with it.
struct SShared {
    platform::CManualResetEvent started;
    platform::CManualResetEvent go;
    std::unique_ptr<CWQ_Thread> thread;
    bool sawQuitBefore = false;
    bool sawQuitAfter = false;
    bool waitedForItself = false;
};

unsigned AddOne(void* parameter)
{
    return *static_cast<unsigned*>(parameter) + 1;
}

unsigned WaitForGo(void* parameter)
{
    auto& shared = *static_cast<SShared*>(parameter);
    shared.sawQuitBefore = CWQ_Thread::IsQuitPostedToCurrent();
    shared.started.Set();
    shared.go.Wait();
    shared.sawQuitAfter = CWQ_Thread::IsQuitPostedToCurrent();
    return 0;
}

unsigned WaitForMyself(void* parameter)
{
    auto& shared = *static_cast<SShared*>(parameter);
    shared.go.Wait();
    shared.waitedForItself = shared.thread->Wait();
    return 0;
}

unsigned ThrowStandard(void*)
{
    throw std::runtime_error("broken");
}

unsigned ThrowNumber(void*)
{
    throw 5;
}

TEST(WorkerThreadTest, RunsTheProcedureWithItsParameter)
{
    unsigned value = 41;
    const auto thread = AfxBeginThread(AddOne, &value);
    ASSERT_NE(thread, nullptr);
    EXPECT_TRUE(thread->Wait());
    EXPECT_EQ(thread->ExitCode(), 42U);
    EXPECT_TRUE(thread->Wait()) << "waiting again must do no harm";
    EXPECT_TRUE(thread->WaitFor(0ms));
}

TEST(WorkerThreadTest, IsNullWhenNoThreadCanBeStarted)
{
    unsigned value = 0;
    const testsupport::CFaultyThreads threads(1);
    EXPECT_EQ(AfxBeginThread(AddOne, &value), nullptr);
    EXPECT_NE(AfxBeginThread(AddOne, &value), nullptr);
}

TEST(WorkerThreadTest, ATimedWaitTellsWhetherTheThreadEnded)
{
    SShared shared;
    const auto thread = AfxBeginThread(WaitForGo, &shared);
    ASSERT_NE(thread, nullptr);
    EXPECT_FALSE(thread->WaitFor(10ms));
    shared.go.Set();
    EXPECT_TRUE(thread->WaitFor(CRecordingHost::kPatience));
    EXPECT_TRUE(thread->Wait());
}

TEST(WorkerThreadTest, ThePostedQuitIsSeenInsideTheThread)
{
    SShared shared;
    const auto thread = AfxBeginThread(WaitForGo, &shared);
    ASSERT_NE(thread, nullptr);
    shared.started.Wait();
    EXPECT_FALSE(thread->IsQuitPosted());
    thread->PostQuit();
    EXPECT_TRUE(thread->IsQuitPosted());
    shared.go.Set();
    EXPECT_TRUE(thread->Wait());
    EXPECT_FALSE(shared.sawQuitBefore);
    EXPECT_TRUE(shared.sawQuitAfter);
    EXPECT_FALSE(CWQ_Thread::IsQuitPostedToCurrent()) << "this thread was not started here";
}

TEST(WorkerThreadTest, TheDestructorWaitsForTheEnd)
{
    unsigned value = 0;
    for (int i = 0; i < 50; ++i)
        (void)AfxBeginThread([](void* parameter) { return ++*static_cast<unsigned*>(parameter); }, &value);
    EXPECT_EQ(value, 50U);
}

TEST(WorkerThreadTest, AThreadCannotWaitForItself)
{
    SShared shared;
    shared.thread = AfxBeginThread(WaitForMyself, &shared);
    ASSERT_NE(shared.thread, nullptr);
    shared.go.Set();
    EXPECT_TRUE(shared.thread->Wait());
    EXPECT_FALSE(shared.waitedForItself);
}

TEST(WorkerThreadTest, AnExceptionIsReportedAndEndsTheThreadOnly)
{
    CRecordingHost host;
    const auto standard = AfxBeginThread(ThrowStandard, nullptr);
    ASSERT_NE(standard, nullptr);
    EXPECT_TRUE(standard->Wait());
    EXPECT_EQ(standard->ExitCode(), kFailedThreadExitCode);
    const auto other = AfxBeginThread(ThrowNumber, nullptr);
    ASSERT_NE(other, nullptr);
    EXPECT_TRUE(other->Wait());
    const auto reports = host.TakeReports();
    ASSERT_EQ(reports.size(), 2U);
    EXPECT_EQ(reports[0].function, L"CWQ_Thread::Run");
    EXPECT_EQ(reports[0].message, L"An exception ended a thread: broken");
    EXPECT_EQ(reports[1].message, L"An exception ended a thread: unknown exception");
}

} // namespace
