#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sched.h>
#include <unistd.h>

namespace platform {
namespace {

constexpr int kNoLimit = 200;

/// Watches a directory as a user who may have none of the named things; the exit code tells what came of it.
int WatchWithALimit(const std::vector<std::wstring>& arguments)
{
    const std::string limit(arguments[1].begin(), arguments[1].end());
    if (unshare(CLONE_NEWUSER) != 0)
        return kNoLimit;
    std::ofstream setting("/proc/sys/user/" + limit);
    setting << '0' << std::flush;
    if (!setting)
        return kNoLimit;
    std::unique_ptr<IDirectoryWatch> watch;
    switch (Files().Watch(arguments[0], eWatchFilter_FileName, watch)) {
    case eOsError_TooManyWatches: return 0;
    case eOsError_TooManyOpenFiles: return 4;
    case eOsError_DiskFull: return 112;
    default: return 1;
    }
}
const testsupport::CChildPart watchLimitPart(L"watch-limit", &WatchWithALimit);

class WatchLimitTest : public testing::TestWithParam<const wchar_t*> {};

TEST_P(WatchLimitTest, IsToldAsWhatItIs)
{
    const testsupport::CTemporaryDirectory directory;
    auto child = testsupport::StartChild(L"watch-limit", {directory.Path(), GetParam()});
    const int result = testsupport::FinishChild(child);
    if (result == kNoLimit)
        GTEST_SKIP() << "kNoLimit: this process may not limit itself";
    EXPECT_EQ(result, 0);
}

INSTANTIATE_TEST_SUITE_P(Limits, WatchLimitTest, testing::Values(L"max_inotify_watches", L"max_inotify_instances"),
                         [](const auto& limit) {
                             return std::wstring(limit.param) == L"max_inotify_watches" ? "Watches" : "Instances";
                         });

} // namespace
} // namespace platform
