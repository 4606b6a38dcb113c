#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Thread.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/posix/SystemCalls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {
namespace {

/// As on a file system, or a kernel, that does not know how to rename without replacing.
class RenamesTest : public testing::Test {
protected:
    void Run(const std::function<void()>& body)
    {
        CThread thread;
        ASSERT_TRUE(thread.Start([&] {
            const bool taken = testsupport::TakeSystemCallAway(SYS_renameat2);
            if (taken) {
                EXPECT_EQ(syscall(SYS_renameat2, 0, nullptr, 0, nullptr, 0), -1);
                EXPECT_EQ(errno, ENOSYS);
                body();
            }
            return taken ? 1U : 0U;
        }));
        ASSERT_TRUE(thread.Join());
        if (thread.ExitCode() == 0)
            GTEST_SKIP() << "TakeSystemCallAway: this process may not filter its calls";
    }

    static std::string Read(const std::wstring& path)
    {
        std::string bytes;
        EXPECT_EQ(ReadWholeFile(path, eOpenMode_ReadExclusive, bytes, 100), eOsError_None);
        return bytes;
    }

    const testsupport::CTemporaryDirectory m_directory;
    const std::wstring m_from = m_directory / L"from";
    const std::wstring m_to = m_directory / L"to";
};

TEST_F(RenamesTest, AMoveWorksAllTheSame)
{
    Run([&] {
        ASSERT_EQ(WriteWholeFile(m_from, "content"), eOsError_None);
        EXPECT_EQ(Files().Move(m_from, m_to, eMoveFlag_WriteThrough), eOsError_None);
        EXPECT_FALSE(PathExists(m_from));
        EXPECT_EQ(Read(m_to), "content");
    });
}

TEST_F(RenamesTest, AndStillReplacesNothing)
{
    Run([&] {
        ASSERT_EQ(WriteWholeFile(m_from, "content"), eOsError_None);
        ASSERT_EQ(WriteWholeFile(m_to, "old"), eOsError_None);
        EXPECT_EQ(Files().Move(m_from, m_to, 0), eOsError_AlreadyExists);
        EXPECT_EQ(Read(m_from), "content");
        EXPECT_EQ(Read(m_to), "old");
        EXPECT_EQ(Files().Move(m_from, m_to, eMoveFlag_ReplaceExisting), eOsError_None);
        EXPECT_EQ(Read(m_to), "content");
    });
}

TEST_F(RenamesTest, AndFailuresAreTheSame)
{
    Run([&] {
        EXPECT_EQ(Files().Move(m_from, m_to, 0), eOsError_FileNotFound);
        ASSERT_EQ(WriteWholeFile(m_from, "content"), eOsError_None);
        EXPECT_EQ(Files().Move(m_from, m_directory / L"none/to", 0), eOsError_PathNotFound);
        EXPECT_EQ(Read(m_from), "content");
    });
}

} // namespace
} // namespace platform
