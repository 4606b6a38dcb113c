#include "ZEL_Processor/ZelProcessorClient.h"
#include "com/ComError.h"
#include "platform/Thread.h"
#include "tests/support/posix/SystemCalls.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/syscall.h>

TEST(UniqueNames, WithoutAGuidThereIsNoneAndTheNextOneIsWhole)
{
    std::wstring last;
    for (int left = 65536; left > 0 && !last.ends_with(L"_0"); --left)
        last = CZelProcessorClient::GetUniqueString();
    ASSERT_TRUE(last.ends_with(L"_0")) << "the next one takes a new GUID";
    platform::CThread thread;
    ASSERT_TRUE(thread.Start([] {
        if (!testsupport::TakeSystemCallAway(SYS_getrandom))
            return 2U;
        try {
            static_cast<void>(CZelProcessorClient::GetUniqueString());
        } catch (const CComError&) {
            return 1U;
        }
        return 0U;
    }));
    ASSERT_TRUE(thread.Join());
    if (thread.ExitCode() == 2)
        GTEST_SKIP() << "TakeSystemCallAway: this process may not filter its calls";
    EXPECT_EQ(thread.ExitCode(), 1U) << "a name that others may have was given out";
    const std::wstring next = CZelProcessorClient::GetUniqueString();
    EXPECT_TRUE(next.ends_with(L"}_1"));
    EXPECT_NE(next.substr(0, 38), last.substr(0, 38));
}
