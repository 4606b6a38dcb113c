#include "platform/FileSystem.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Process.h"
#include "platform/Thread.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

constexpr int kNotTheOther = 200;

bool CanChangeUser()
{
    return geteuid() == 0;
}

[[nodiscard]] bool BecomeAnotherUser()
{
    constexpr unsigned nobody = 65'534;
    return setgid(nobody) == 0 && setuid(nobody) == 0;
}

/// Moves a file as a user who does not own it; the exit code is the failure.
int MoveAsAnotherUser(const std::vector<std::wstring>& arguments)
{
    if (!BecomeAnotherUser())
        return kNotTheOther;
    return static_cast<int>(Files().Move(arguments[0], arguments[1], eMoveFlag_None));
}
const testsupport::CChildPart movePart(L"lease-move-as-another", &MoveAsAnotherUser);

/// A directory into which everybody may put files, but which its own user may not read.
eOsError MoveIntoADropBox(const std::wstring& directory)
{
    const std::wstring box = directory + L"/box";
    auto result = WriteWholeFile(directory + L"/file", "content");
    if (result == eOsError_None)
        result = Files().MakeDirectory(box);
    if (result != eOsError_None || chmod(NarrowPath(box).c_str(), 0333) != 0)
        return eOsError_IoError;
    result = Files().Move(directory + L"/file", box + L"/file", eMoveFlag_WriteThrough);
    const bool arrived = PathExists(box + L"/file");
    return chmod(NarrowPath(box).c_str(), 0777) == 0 && arrived ? result : eOsError_IoError;
}

/// Moves while a stranger opens and closes the file. The kernel tells the one who holds a lease about the opener with a
/// signal, which must not end the process.
eOsError MoveBesideAStranger(const std::wstring& directory)
{
    const std::wstring from = directory + L"/from";
    const std::wstring to = directory + L"/to";
    auto result = WriteWholeFile(from, "content");
    std::atomic<bool> end{false};
    CThread stranger;
    if (!stranger.Start([&] {
            while (!end) {
                for (const std::wstring& path : {from, to}) {
                    const int descriptor = open(NarrowPath(path).c_str(), O_RDONLY | O_CLOEXEC);
                    if (descriptor >= 0)
                        close(descriptor);
                }
            }
            return 0U;
        }))
        return eOsError_IoError;
    int moved = 0;
    for (int tries = 0; tries < 5000 && (result == eOsError_None || result == eOsError_SharingViolation); ++tries) {
        result = moved % 2 == 0 ? Files().Move(from, to, 0) : Files().Move(to, from, 0);
        moved += result == eOsError_None ? 1 : 0;
    }
    end = true;
    static_cast<void>(stranger.Join());
    return moved > 0 && result == eOsError_SharingViolation ? eOsError_None : result;
}

/// Moves and opens what was moved at once, while children are being started.
eOsError MoveBesideNewChildren(const std::wstring& directory)
{
    const std::wstring from = directory + L"/from";
    const std::wstring to = directory + L"/to";
    auto result = WriteWholeFile(from, "content");
    std::atomic<bool> end{false};
    CThread starter;
    const auto start = [&] {
        unsigned failed = 0;
        while (!end) {
            CProcess child;
            int exitCode = -1;
            const bool ran = child.Start(L"/bin/true", {}) == eOsError_None &&
                             child.Wait(std::chrono::seconds(60), exitCode) && exitCode == 0;
            failed += ran ? 0 : 1;
        }
        return failed;
    };
    if (!starter.Start(start))
        return eOsError_IoError;
    for (int i = 0; i < 3000 && result == eOsError_None; ++i) {
        std::unique_ptr<IFile> file;
        // A child may have the file open itself for as long as it is being started.
        do {
            result = Files().Move(i % 2 == 0 ? from : to, i % 2 == 0 ? to : from, eMoveFlag_None);
        } while (result == eOsError_SharingViolation);
        if (result == eOsError_None)
            result = Files().Open(i % 2 == 0 ? to : from, eOpenMode_WriteExclusive, file);
    }
    end = true;
    return starter.Join() && starter.ExitCode() == 0 ? result : eOsError_IoError;
}

constexpr std::array kScenes = {&MoveIntoADropBox, &MoveBesideAStranger, &MoveBesideNewChildren};

/// Plays one of these in a directory, as the user who started it or as another one; the exit code is the failure.
int PlayScene(const std::vector<std::wstring>& arguments)
{
    if (arguments[2] == L"another" && !BecomeAnotherUser())
        return kNotTheOther;
    return static_cast<int>(kScenes[std::stoul(arguments[0])](arguments[1]));
}
const testsupport::CChildPart scenePart(L"lease-scene", &PlayScene);

class LeaseTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(WriteWholeFile(m_from, "content"), eOsError_None);
        ASSERT_EQ(chmod(NarrowPath(m_directory.Path()).c_str(), 0777), 0);
    }
    eOsError MoveByAnotherUser()
    {
        auto child = testsupport::StartChild(L"lease-move-as-another", {m_from, m_to});
        return static_cast<eOsError>(testsupport::FinishChild(child));
    }

    const CTemporaryDirectory m_directory;
    const std::wstring m_from = m_directory / L"from";
    const std::wstring m_to = m_directory / L"to";
};

TEST_F(LeaseTest, WhereNoLeaseIsGivenUsersOfThisLayerAreStillSeen)
{
    if (!CanChangeUser())
        GTEST_SKIP() << "CanChangeUser: only root becomes somebody else";
    ASSERT_EQ(chmod(NarrowPath(m_from).c_str(), 0644), 0);
    {
        std::unique_ptr<IFile> holder;
        ASSERT_EQ(Files().Open(m_from, eOpenMode_ReadShared, holder), eOsError_None);
        EXPECT_EQ(MoveByAnotherUser(), eOsError_SharingViolation);
    }
    EXPECT_EQ(MoveByAnotherUser(), eOsError_None);
    EXPECT_TRUE(PathExists(m_to));
}

TEST_F(LeaseTest, AFileThatCannotBeOpenedIsMovedUnchecked)
{
    if (!CanChangeUser())
        GTEST_SKIP() << "CanChangeUser: only root becomes somebody else";
    ASSERT_EQ(chmod(NarrowPath(m_from).c_str(), 0600), 0);
    EXPECT_EQ(MoveByAnotherUser(), eOsError_None);
    EXPECT_TRUE(PathExists(m_to));
}

TEST_F(LeaseTest, ADirectoryThatCannotBeOpenedIsStillNoFile)
{
    if (!CanChangeUser())
        GTEST_SKIP() << "CanChangeUser: only root becomes somebody else";
    ASSERT_EQ(Files().Remove(m_from), eOsError_None);
    ASSERT_EQ(Files().MakeDirectory(m_from), eOsError_None);
    ASSERT_EQ(chmod(NarrowPath(m_from).c_str(), 0700), 0);
    EXPECT_EQ(MoveByAnotherUser(), eOsError_AccessDenied);
}

/// What the owner of a file meets, be it root, who may do everything, or not.
class LeaseOwnerTest : public testing::TestWithParam<const wchar_t*> {
protected:
    void SetUp() override
    {
        if (GetParam() == std::wstring(L"another") && !CanChangeUser())
            GTEST_SKIP() << "CanChangeUser: only root becomes somebody else";
        ASSERT_EQ(chmod(NarrowPath(m_directory.Path()).c_str(), 0777), 0);
    }
    eOsError Play(std::size_t scene)
    {
        auto child = testsupport::StartChild(L"lease-scene", {std::to_wstring(scene), m_directory.Path(), GetParam()});
        return static_cast<eOsError>(testsupport::FinishChild(child));
    }

    const CTemporaryDirectory m_directory;
};

TEST_P(LeaseOwnerTest, ADropBoxTakesFilesWithWriteThrough)
{
    EXPECT_EQ(Play(0), eOsError_None);
}

TEST_P(LeaseOwnerTest, AStrangerWhoOpensDuringAMoveHarmsNobody)
{
    EXPECT_EQ(Play(1), eOsError_None);
}

TEST_P(LeaseOwnerTest, AFileThatWasMovedIsFreeAlthoughAChildIsBeingStarted)
{
    EXPECT_EQ(Play(2), eOsError_None);
}

INSTANTIATE_TEST_SUITE_P(Users, LeaseOwnerTest, testing::Values(L"own", L"another"), [](const auto& user) {
    return std::wstring(user.param) == L"own" ? "OwnUser" : "AnotherUser";
});

} // namespace
} // namespace platform
