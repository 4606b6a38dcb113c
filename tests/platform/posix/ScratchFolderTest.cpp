#include "platform/ScratchFolder.h"

#include "platform/FileSystem.h"
#include "platform/Path.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

/// Deeper than a path can name, or a process has descriptors.
TEST(ScratchFolderPosixTest, GoesWhateverDepthItsFoldersHave)
{
    std::string path;
    {
        const CScratchFolder folder;
        ASSERT_EQ(folder.Error(), eOsError_None);
        path = NarrowPath(folder.Path());
        int level = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int depth = 0; depth < 3000; ++depth) {
            ASSERT_EQ(mkdirat(level, "deep", 0700), 0);
            const int next = openat(level, "deep", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            close(level);
            level = next;
        }
        close(level);
    }
    EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST(ScratchFolderPosixTest, GoesWithWhatIsNoFileAndWithLinksButNotWithWhatTheyName)
{
    const CScratchFolder kept;
    std::string path;
    {
        const CScratchFolder folder;
        path = NarrowPath(folder.Path());
        ASSERT_EQ(mkdir((path + "/locked").c_str(), 0700), 0);
        ASSERT_EQ(mkfifo((path + "/locked/pipe").c_str(), 0600), 0);
        ASSERT_EQ(symlink(NarrowPath(kept.Path()).c_str(), (path + "/link").c_str()), 0);
        ASSERT_EQ(symlink(NarrowPath(kept.Path()).c_str(), (path + "/locked/link").c_str()), 0);
        ASSERT_EQ(mkdir((path + "/locked/inner").c_str(), 0000), 0);
        ASSERT_EQ(chmod((path + "/locked").c_str(), 0000), 0);
        ASSERT_EQ(WriteWholeFile(JoinPath(kept.Path(), L"file"), "x"), eOsError_None);
    }
    EXPECT_NE(access(path.c_str(), F_OK), 0);
    EXPECT_TRUE(PathExists(JoinPath(kept.Path(), L"file")));
}

} // namespace
} // namespace platform
