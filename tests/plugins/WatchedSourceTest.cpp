#include "plugins/datastore/WatchedSource.h"

#include "plugins/datastore/SqliteLimits.h"
#include "tests/plugins/SampleDatabase.h"

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <atomic>

using namespace plugintest;

namespace {

/// The memory that SQLite may have beyond what it has, while the object lives.
class CLittleMemory {
public:
    explicit CLittleMemory(std::int64_t bytes) { sqlite3_hard_heap_limit64(sqlite3_memory_used() + bytes); }
    ~CLittleMemory() { sqlite3_hard_heap_limit64(kMaxSqliteMemory); }
    CLittleMemory(const CLittleMemory&) = delete;
    CLittleMemory& operator=(const CLittleMemory&) = delete;
};

} // namespace

TEST(WatchedSource, WhereverMemoryEndsItIsLookedAtAgainSoon)
{
    const CDataFolder data;
    data.Make(L"box", "CREATE TABLE t(x); INSERT INTO t VALUES(1)");
    const std::atomic<bool> stop = false;
    eLook look = eLook_Failed;
    unsigned failures = 0;
    for (std::int64_t bytes = 1; look != eLook_Read && bytes < 4'000'000; bytes += 256) {
        CWatchedSource source(L"box", data.PathOf(L"box"));
        CSourceChanges changes;
        std::size_t read = 0;
        {
            const CLittleMemory memory(bytes);
            look = source.Look(changes, stop, 1000, read);
        }
        if (look == eLook_Read)
            break;
        ++failures;
        // No failure that waits for a change of the file: the memory may come back without one.
        ASSERT_EQ(look, eLook_Busy) << bytes;
        ASSERT_EQ(source.Look(changes, stop, 1000, read), eLook_Read) << bytes;
        EXPECT_EQ(source.KeptRows(), 1U);
        EXPECT_GT(read, 0U);
    }
    EXPECT_EQ(look, eLook_Read);
    EXPECT_GT(failures, 10U);
}
