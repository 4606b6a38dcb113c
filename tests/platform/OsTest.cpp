#include "platform/Os.h"

#include "tests/support/FaultyFiles.h"
#include "tests/support/ManualClock.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

namespace platform {
namespace {

TEST(OsTest, InstalledImplementationsNest)
{
    EXPECT_EQ(&Files(), &SystemFiles());
    EXPECT_EQ(&Clock(), &SystemClock());
    testsupport::CFaultyFiles files;
    testsupport::CManualClock clock;
    {
        const CScopedOs outer(&files, nullptr);
        EXPECT_EQ(&Files(), &files);
        EXPECT_EQ(&Clock(), &SystemClock()) << "null keeps the current one";
        {
            const CScopedOs inner(nullptr, &clock);
            EXPECT_EQ(&Files(), &files);
            EXPECT_EQ(&Clock(), &clock);
        }
        EXPECT_EQ(&Clock(), &SystemClock());
    }
    EXPECT_EQ(&Files(), &SystemFiles());
}

TEST(OsTest, UniqueIdsAreOfVersionFourAndNeverRepeat)
{
    std::set<std::array<std::uint8_t, 16>> seen;
    for (int i = 0; i < 10'000; ++i) {
        const auto id = NewUniqueId();
        // The version is in the high half of a little-endian 16-bit field, the variant in the two highest bits of
        // byte 8.
        EXPECT_EQ(id[7] >> 4, 4);
        EXPECT_EQ(id[8] >> 6, 2);
        EXPECT_TRUE(seen.insert(id).second);
    }
}

TEST(OsTest, ThreadsHaveIdsOfTheirOwn)
{
    const auto here = CurrentThreadId();
    auto there = here;
    std::thread([&there] { there = CurrentThreadId(); }).join();
    EXPECT_NE(there, here);
    EXPECT_EQ(CurrentThreadId(), here);
    EXPECT_NE(CurrentProcessId(), 0U);
}

} // namespace
} // namespace platform
