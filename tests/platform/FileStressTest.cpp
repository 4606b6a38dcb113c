#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Text.h"
#include "platform/Thread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/UntilFree.h"

#include <gtest/gtest.h>

#include <atomic>

namespace platform {
namespace {

/// Content number i: its own digits over and over, of a length that grows and shrinks.
std::string ContentOf(unsigned i)
{
    const std::string unit = std::to_string(i) + "|";
    std::string content;
    for (unsigned count = (i * 7919) % 400; count > 0; --count)
        content += unit;
    return content;
}

bool IsWhole(const std::string& content)
{
    return content.empty() || content == ContentOf(static_cast<unsigned>(std::stoul(content)));
}

eOsError WriteWhenFree(const std::wstring& path, const std::string& content)
{
    return testsupport::UntilFree([&] { return WriteWholeFile(path, content); });
}

eOsError ReadWhenFree(const std::wstring& path, eOpenMode mode, std::string& content)
{
    return testsupport::UntilFree([&] { return ReadWholeFile(path, mode, content, 1'000'000); });
}

int WriteContents(const std::vector<std::wstring>& arguments)
{
    testsupport::TellParent(L"ready");
    testsupport::WaitForParent();
    for (unsigned i = 0; i < static_cast<unsigned>(std::stoul(arguments[1])); ++i) {
        if (WriteWhenFree(arguments[0], ContentOf(i)) != eOsError_None)
            return 1;
    }
    return 0;
}
const testsupport::CChildPart writerPart(L"stress-write", &WriteContents);

class FileStressTest : public testing::TestWithParam<eOpenMode> {
protected:
    const testsupport::CTemporaryDirectory m_directory;
    const std::wstring m_path = m_directory / L"output.status";
};

TEST_P(FileStressTest, ANewFileIsNeverSeenBeforeItsContent)
{
    // The moment between creating and locking is short: a reader has to look often to meet it.
    constexpr int rounds = 3000;
    std::atomic<bool> stop = false;
    std::atomic<int> emptySeen = 0;
    std::atomic<int> seen = 0;
    CThread reader;
    ASSERT_TRUE(reader.Start([&] {
        while (!stop) {
            std::string content;
            if (ReadWholeFile(m_path, GetParam(), content, 1000) == eOsError_None) {
                ++seen;
                emptySeen += content.empty() ? 1 : 0;
            }
        }
        return 0U;
    }));
    for (int round = 0; round < rounds || (seen == 0 && round < 100 * rounds); ++round) {
        ASSERT_EQ(WriteWhenFree(m_path, "content"), eOsError_None);
        ASSERT_EQ(testsupport::UntilFree([&] { return Files().Remove(m_path); }), eOsError_None);
    }
    stop = true;
    EXPECT_TRUE(reader.Join());
    EXPECT_GT(seen, 0);
    EXPECT_EQ(emptySeen, 0);
}

TEST_P(FileStressTest, ReadersNeverSeeATornContentOfAThread)
{
    ASSERT_EQ(WriteWholeFile(m_path, ""), eOsError_None);
    std::atomic<bool> end{false};
    CThread writer;
    ASSERT_TRUE(writer.Start([&] {
        for (unsigned i = 0; !end; ++i) {
            if (WriteWhenFree(m_path, ContentOf(i)) != eOsError_None)
                return 1U;
        }
        return 0U;
    }));
    for (int i = 0; i < 2000; ++i) {
        std::string content;
        EXPECT_EQ(ReadWhenFree(m_path, GetParam(), content), eOsError_None);
        EXPECT_TRUE(IsWhole(content)) << content.substr(0, 40);
    }
    end = true;
    EXPECT_TRUE(writer.Join());
    EXPECT_EQ(writer.ExitCode(), 0U);
}

TEST_P(FileStressTest, ReadersNeverSeeATornContentOfAnotherProcess)
{
    ASSERT_EQ(WriteWholeFile(m_path, ""), eOsError_None);
    auto child = testsupport::StartChild(L"stress-write", {m_path, L"2000"});
    ASSERT_TRUE(testsupport::WaitForChild(child, L"ready"));
    ASSERT_TRUE(child.WriteLine(L"go"));
    int exitCode = -1;
    do {
        std::string content;
        EXPECT_EQ(ReadWhenFree(m_path, GetParam(), content), eOsError_None);
        EXPECT_TRUE(IsWhole(content)) << content.substr(0, 40);
    } while (!child.Wait(std::chrono::milliseconds(0), exitCode));
    EXPECT_EQ(exitCode, 0);
}

TEST_P(FileStressTest, AFileThatIsMovedAwayIsReadWholeOrNotAtAll)
{
    const std::wstring moved = m_directory / L"moved";
    std::atomic<bool> end{false};
    CThread mover;
    ASSERT_TRUE(mover.Start([&] {
        while (!end) {
            const auto error = Files().Move(m_path, moved, eMoveFlag_ReplaceExisting);
            if (error != eOsError_None && !IsAbsent(error) && error != eOsError_SharingViolation)
                return static_cast<unsigned>(error);
        }
        return 0U;
    }));
    int seen = 0;
    int missed = 0;
    // On until both were met, for what is never met is not tried.
    for (unsigned i = 0; i < 1000 || ((seen == 0 || missed == 0) && i < 100'000); ++i) {
        EXPECT_EQ(WriteWhenFree(m_path, ContentOf(i)), eOsError_None);
        std::string content;
        const auto error = ReadWhenFree(m_path, GetParam(), content);
        if (error == eOsError_None) {
            ++seen;
            EXPECT_EQ(content, ContentOf(i));
        } else {
            ++missed;
            EXPECT_EQ(error, eOsError_FileNotFound);
        }
    }
    end = true;
    EXPECT_TRUE(mover.Join());
    EXPECT_EQ(mover.ExitCode(), 0U);
    EXPECT_GT(seen, 0);
    EXPECT_GT(missed, 0);
}

INSTANTIATE_TEST_SUITE_P(Modes, FileStressTest, testing::Values(eOpenMode_ReadExclusive, eOpenMode_ReadShared));

} // namespace
} // namespace platform
