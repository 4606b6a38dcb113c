#include "processor/TaskHostInbox.h"

#include "platform/Containment.h"
#include "platform/Process.h"
#include "processor/TaskHostLine.h"
#include "tests/support/ChildProcess.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
constexpr int kRounds = 300;

void Tell(platform::CParentChannel& channel, const CString& word)
{
    channel.WriteLine(TaskHostLine::Join({word}));
}

/// Serves requests as the process of tasks does, with a thread of a task that never leaves off asking.
int ServeInbox(const std::vector<std::wstring>&)
{
    platform::CParentChannel channel;
    CTaskHostInbox inbox(channel);
    std::atomic<bool> isOver = false;
    std::thread asker([&] {
        while (!isOver)
            static_cast<void>(inbox.IsCanceled());
    });
    while (inbox.WaitForRequest()) {
        Tell(channel, L"remove");
        static_cast<void>(inbox.WaitForRemoval());
        Tell(channel, L"ended");
    }
    isOver = true;
    asker.join();
    return 3;
}
const testsupport::CChildPart servePart(L"inbox-serve", &ServeInbox);

/// Runs one request, which waits until it is cancelled.
int WaitForCancel(const std::vector<std::wstring>&)
{
    platform::CParentChannel channel;
    CTaskHostInbox inbox(channel);
    while (inbox.WaitForRequest()) {
        Tell(channel, inbox.IsCanceled() ? L"cancelled" : L"runs");
        while (!inbox.IsCanceled())
            std::this_thread::yield();
        Tell(channel, inbox.IsClosing() ? L"closing" : L"cancelled");
    }
    return 3;
}
const testsupport::CChildPart cancelPart(L"inbox-cancel", &WaitForCancel);

const std::wstring kRun = TaskHostLine::Join({L"run", L"a.drq", L"0", L"", L"2"});

TEST(TaskHostInboxTest, AThreadThatAsksTakesNoLineFromTheOneThatWaits)
{
    platform::CProcess child = testsupport::StartChild(L"inbox-serve", {});
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_TRUE(child.WriteLine(kRun));
        ASSERT_TRUE(testsupport::WaitForChild(child, TaskHostLine::Join({L"remove"}))) << round;
        ASSERT_TRUE(child.WriteLine(TaskHostLine::Join({L"removed", L"0"})));
        ASSERT_TRUE(testsupport::WaitForChild(child, TaskHostLine::Join({L"ended"}))) << round;
    }
    ASSERT_TRUE(child.WriteLine(TaskHostLine::Join({L"end"})));
    EXPECT_EQ(testsupport::FinishChild(child), 3);
}

TEST(TaskHostInboxTest, ACancelIsOfTheRequestThatRuns)
{
    platform::CProcess child = testsupport::StartChild(L"inbox-cancel", {});
    for (const wchar_t* const word : {L"cancelled", L"closing"}) {
        ASSERT_TRUE(child.WriteLine(kRun));
        ASSERT_TRUE(testsupport::WaitForChild(child, TaskHostLine::Join({L"runs"})));
        if (word == std::wstring(L"closing")) {
            ASSERT_TRUE(child.WriteLine(TaskHostLine::Join({L"closing"})));
        }
        ASSERT_TRUE(child.WriteLine(TaskHostLine::Join({L"cancel"})));
        EXPECT_TRUE(testsupport::WaitForChild(child, TaskHostLine::Join({word})));
    }
    ASSERT_TRUE(child.WriteLine(TaskHostLine::Join({L"end"})));
    EXPECT_EQ(testsupport::FinishChild(child), 3);
}

TEST(TaskHostInboxTest, ALineThatNobodyUnderstandsIsTheEnd)
{
    platform::CProcess child = testsupport::StartChild(L"inbox-serve", {});
    ASSERT_TRUE(child.WriteLine(L"nonsense"));
    int code = 0;
    ASSERT_TRUE(child.Wait(60s, code));
    EXPECT_EQ(code, 1);
}

} // namespace
