#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Thread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

/// A stranger, who knows nothing of this layer: opens a file in the ordinary way.
int OpenAsStranger(const std::vector<std::wstring>& arguments)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(NarrowPath(arguments[0]).c_str(), arguments[1] == L"write" ? "r+b" : "rb"), &std::fclose);
    testsupport::TellParent(file != nullptr ? L"open" : L"failed");
    while (testsupport::WaitForParent()) {
    }
    return 0;
}
const testsupport::CChildPart strangerPart(L"move-stranger", &OpenAsStranger);

/// A directory on another volume than the temporary one, or nothing.
std::wstring OtherVolume()
{
    for (const wchar_t* candidate : {L"/dev/shm", L"/tmp", L"/var/tmp"}) {
        if (!DirectoryExists(candidate))
            continue;
        const CTemporaryDirectory here;
        const CTemporaryDirectory there(candidate);
        EXPECT_EQ(WriteWholeFile(here / L"probe", ""), eOsError_None);
        // Asked of the standard library, not of what is tested here.
        std::error_code error;
        std::filesystem::create_hard_link(testsupport::StandardPath(here / L"probe"),
                                          testsupport::StandardPath(there / L"probe"), error);
        if (error == std::errc::cross_device_link)
            return candidate;
    }
    return {};
}

class MoveTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(WriteWholeFile(m_from, "content"), eOsError_None); }

    eOsError Move(unsigned flags = eMoveFlag_None) { return Files().Move(m_from, m_to, flags); }

    void ExpectMoved()
    {
        EXPECT_FALSE(PathExists(m_from));
        EXPECT_EQ(Read(m_to), "content");
    }
    void ExpectUnmoved() { EXPECT_EQ(Read(m_from), "content"); }

    static std::string Read(const std::wstring& path)
    {
        std::string bytes;
        EXPECT_EQ(ReadWholeFile(path, eOpenMode_ReadExclusive, bytes, 100), eOsError_None);
        return bytes;
    }

    const CTemporaryDirectory m_source;
    const CTemporaryDirectory m_target;
    const std::wstring m_from = m_source / L"from.drq";
    const std::wstring m_to = m_target / L"to.drq";
};

TEST_F(MoveTest, TakesTheFileToItsNewName)
{
    EXPECT_EQ(Move(), eOsError_None);
    ExpectMoved();
}

TEST_F(MoveTest, WithWriteThroughAsWell)
{
    EXPECT_EQ(Move(eMoveFlag_WriteThrough), eOsError_None);
    ExpectMoved();
}

TEST_F(MoveTest, NeverReplacesWithoutTheFlag)
{
    ASSERT_EQ(WriteWholeFile(m_to, "old"), eOsError_None);
    EXPECT_EQ(Move(), eOsError_AlreadyExists);
    EXPECT_EQ(Move(eMoveFlag_WriteThrough), eOsError_AlreadyExists);
    ExpectUnmoved();
    EXPECT_EQ(Read(m_to), "old");
}

TEST_F(MoveTest, ReplacesWithTheFlag)
{
    ASSERT_EQ(WriteWholeFile(m_to, "old"), eOsError_None);
    EXPECT_EQ(Move(eMoveFlag_ReplaceExisting | eMoveFlag_WriteThrough), eOsError_None);
    ExpectMoved();
    ASSERT_EQ(Files().Move(m_to, m_from, eMoveFlag_ReplaceExisting), eOsError_None)
        << "where there is nothing to replace";
}

TEST_F(MoveTest, DoesNotReplaceWhatIsInUse)
{
    ASSERT_EQ(WriteWholeFile(m_to, "old"), eOsError_None);
    std::unique_ptr<IFile> holder;
    ASSERT_EQ(Files().Open(m_to, eOpenMode_ReadShared, holder), eOsError_None);
    EXPECT_EQ(Move(eMoveFlag_ReplaceExisting), eOsError_AccessDenied);
    holder.reset();
    ExpectUnmoved();
    EXPECT_EQ(Read(m_to), "old");
}

TEST_F(MoveTest, FailuresAreToldApart)
{
    EXPECT_EQ(Files().Move(m_source / L"none", m_to, 0), eOsError_FileNotFound);
    EXPECT_EQ(Files().Move(m_source / L"none/from", m_to, 0), eOsError_PathNotFound);
    EXPECT_EQ(Files().Move(m_from, m_target / L"none/to", 0), eOsError_PathNotFound);
    EXPECT_EQ(Files().Move(m_from, m_target / L"none/to", eMoveFlag_ReplaceExisting), eOsError_PathNotFound);
    ExpectUnmoved();
}

TEST_F(MoveTest, DirectoriesAreNoFiles)
{
    const std::wstring directory = m_source / L"directory";
    ASSERT_EQ(Files().MakeDirectory(directory), eOsError_None);
    EXPECT_EQ(Files().Move(directory, m_to, 0), eOsError_AccessDenied);
    EXPECT_TRUE(DirectoryExists(directory));
    EXPECT_EQ(Files().Move(m_from, directory, eMoveFlag_ReplaceExisting), eOsError_AccessDenied);
    EXPECT_EQ(Files().Move(m_from, directory, 0), eOsError_AlreadyExists);
    ExpectUnmoved();
}

TEST_F(MoveTest, AFileThatAUserOfThisLayerHasOpenIsBusy)
{
    for (const auto mode : {eOpenMode_ReadShared, eOpenMode_ReadExclusive}) {
        std::unique_ptr<IFile> holder;
        ASSERT_EQ(Files().Open(m_from, mode, holder), eOsError_None);
        EXPECT_EQ(Move(), eOsError_SharingViolation) << mode;
    }
    {
        std::unique_ptr<IFile> holder;
        ASSERT_EQ(Files().Open(m_from, eOpenMode_WriteExclusive, holder), eOsError_None);
        EXPECT_EQ(Move(eMoveFlag_WriteThrough), eOsError_SharingViolation);
        ASSERT_EQ(holder->Write(std::as_bytes(std::span("content", 7))), eOsError_None);
    }
    EXPECT_EQ(Move(), eOsError_None);
    ExpectMoved();
}

TEST_F(MoveTest, AFileThatAStrangerHasOpenIsBusy)
{
    for (const wchar_t* access : {L"read", L"write"}) {
        auto child = testsupport::StartChild(L"move-stranger", {m_from, access});
        ASSERT_TRUE(testsupport::WaitForChild(child, L"open"));
        EXPECT_EQ(Move(), eOsError_SharingViolation);
        EXPECT_EQ(Move(eMoveFlag_WriteThrough), eOsError_SharingViolation);
        EXPECT_EQ(Files().Remove(m_from), eOsError_SharingViolation);
        EXPECT_EQ(testsupport::FinishChild(child), 0);
    }
    EXPECT_EQ(Move(), eOsError_None);
    ExpectMoved();
}

TEST_F(MoveTest, NoWayToAnotherVolume)
{
    const std::wstring other = OtherVolume();
    if (other.empty())
        GTEST_SKIP() << "OtherVolume: this machine has no second volume to write to";
    const CTemporaryDirectory target(other);
    EXPECT_EQ(Files().Move(m_from, target / L"to", 0), eOsError_NotSameDevice);
    EXPECT_EQ(Files().Move(m_from, target / L"to", eMoveFlag_ReplaceExisting | eMoveFlag_WriteThrough),
              eOsError_NotSameDevice);
    ExpectUnmoved();
    EXPECT_FALSE(PathExists(target / L"to"));
}

TEST_F(MoveTest, OntoItselfIsDoneWithNothingToDo)
{
    for (const unsigned flags : {0U, unsigned{eMoveFlag_ReplaceExisting}, unsigned{eMoveFlag_WriteThrough}}) {
        EXPECT_EQ(Files().Move(m_from, m_from, flags), eOsError_None) << flags;
        EXPECT_EQ(Read(m_from), "content");
    }
    {
        std::unique_ptr<IFile> holder;
        ASSERT_EQ(Files().Open(m_from, eOpenMode_ReadShared, holder), eOsError_None);
        EXPECT_EQ(Files().Move(m_from, m_from, 0), eOsError_SharingViolation);
    }
    EXPECT_EQ(Files().Move(m_to, m_to, 0), eOsError_FileNotFound);
}

TEST_F(MoveTest, OneOfManyMoversWins)
{
    constexpr int kRounds = 50;
    constexpr std::size_t kMovers = 4;
    for (int round = 0; round < kRounds; ++round) {
        const std::wstring from = m_source / (L"race" + std::to_wstring(round));
        ASSERT_EQ(WriteWholeFile(from, "content"), eOsError_None);
        std::array<eOsError, kMovers> results = {};
        std::array<CThread, kMovers> movers;
        CManualResetEvent go;
        for (std::size_t i = 0; i < kMovers; ++i) {
            ASSERT_TRUE(movers[i].Start([&, i] {
                const std::wstring to = m_target / (std::to_wstring(round) + L"-" + std::to_wstring(i));
                go.Wait();
                do {
                    results[i] = Files().Move(from, to, 0);
                } while (results[i] == eOsError_SharingViolation);
                return 0U;
            }));
        }
        go.Set();
        for (CThread& mover : movers)
            ASSERT_TRUE(mover.Join());
        EXPECT_EQ(std::count(results.begin(), results.end(), eOsError_None), 1);
        EXPECT_EQ(std::count(results.begin(), results.end(), eOsError_FileNotFound), kMovers - 1);
    }
}

TEST_F(MoveTest, OneOfManyTargetsSurvives)
{
    // All move a file of their own to one name, which must never be replaced.
    constexpr std::size_t kMovers = 4;
    for (int round = 0; round < 50; ++round) {
        const std::wstring to = m_target / std::to_wstring(round);
        std::array<eOsError, kMovers> results = {};
        std::array<CThread, kMovers> movers;
        CManualResetEvent go;
        for (std::size_t i = 0; i < kMovers; ++i) {
            const std::wstring from = m_source / std::to_wstring(i);
            ASSERT_EQ(WriteWholeFile(from, std::to_string(i)), eOsError_None);
            ASSERT_TRUE(movers[i].Start([&, i, from] {
                go.Wait();
                results[i] = Files().Move(from, to, 0);
                return 0U;
            }));
        }
        go.Set();
        for (CThread& mover : movers)
            ASSERT_TRUE(mover.Join());
        ASSERT_EQ(std::count(results.begin(), results.end(), eOsError_None), 1);
        ASSERT_EQ(std::count(results.begin(), results.end(), eOsError_AlreadyExists), kMovers - 1);
        const auto winner = std::find(results.begin(), results.end(), eOsError_None) - results.begin();
        EXPECT_EQ(Read(to), std::to_string(winner));
    }
}

} // namespace
} // namespace platform
