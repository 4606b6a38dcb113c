#include "platform/LastWords.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Trust.h"
#include "tests/apps/ProgramFixture.h"
#include "tests/support/Predicates.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Servers that end by a fault in the allocator, with a folder for temporary files of the test's own.
class LastWordsTest : public CProgramTest {
protected:
    void SetUp() override
    {
        if (testsupport::IsAddressSanitized() || testsupport::IsThreadSanitized())
            GTEST_SKIP() << "IsAddressSanitized, IsThreadSanitized: the sanitizer's heap ends the program itself";
        ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(m_elsewhere)));
    }

    [[nodiscard]] CRunningProgram Start() const
    {
        platform::SProcessOptions options;
        options.environment = {{L"ZEL_CRASH_DIR", L""}, {L"TMPDIR", m_root.Path()}};
        return StartServer({L"--log-level", L"critical"}, std::move(options));
    }
    void Crash(CRunningProgram& server) const
    {
        EXPECT_EQ(Zel({L"send", MakeRequest(L"x.drq", L"Type=\"Crash\" Kind=\"HeapWrongFree\"")}).code, 0);
        int code = 0;
        ASSERT_TRUE(server.Process().Wait(kPatience, code));
        EXPECT_TRUE(Contains(server.Errors(), "A fault in the memory allocator ends this process")) << server.Errors();
    }
    static mode_t ModeOf(const std::wstring& path)
    {
        struct stat status = {};
        EXPECT_EQ(lstat(platform::NarrowPath(path).c_str(), &status), 0);
        return status.st_mode & 07777U;
    }
    void ExpectReport() const
    {
        const std::vector<std::wstring> files = FilesIn(m_folder);
        ASSERT_EQ(files.size(), 1U);
        EXPECT_EQ(ModeOf(m_folder), 0700U);
        EXPECT_EQ(ModeOf(platform::JoinPath(m_folder, files[0])), 0600U);
    }
    /// Takes the folder away that the server made ready, as something that cleans up would.
    void TakeFolderAway() const
    {
        EXPECT_EQ(Zel({L"send", MakeEcho(L"first.drq", L"")}).code, 0);
        EXPECT_EQ(Zel({L"wait", L"first.drq"}).code, 0); // whoever runs tasks is ready by now
        ASSERT_EQ(rmdir(platform::NarrowPath(m_folder).c_str()), 0);
    }

    const std::wstring m_folder = m_root / L"zel-crash-" + platform::UserTag();
    const std::wstring m_elsewhere = m_root / L"elsewhere";
};

TEST_F(LastWordsTest, AreTheUsersAlone)
{
    CRunningProgram server = Start();
    Crash(server);
    ExpectReport();
}

TEST_F(LastWordsTest, AreNotLeftInAFolderThatOthersMayWriteTo)
{
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(m_folder)));
    ASSERT_EQ(chmod(platform::NarrowPath(m_folder).c_str(), 0777), 0);
    CRunningProgram server = Start();
    Crash(server);
    EXPECT_TRUE(FilesIn(m_folder).empty());
}

TEST_F(LastWordsTest, AreNotLeftBehindALinkToWhereOthersMayWrite)
{
    ASSERT_EQ(chmod(platform::NarrowPath(m_elsewhere).c_str(), 0777), 0);
    ASSERT_EQ(symlink(platform::NarrowPath(m_elsewhere).c_str(), platform::NarrowPath(m_folder).c_str()), 0);
    CRunningProgram server = Start();
    Crash(server);
    EXPECT_TRUE(FilesIn(m_elsewhere).empty());
}

TEST_F(LastWordsTest, DoNotFollowALinkThatTookTheFoldersPlaceLater)
{
    CRunningProgram server = Start();
    TakeFolderAway();
    ASSERT_EQ(symlink(platform::NarrowPath(m_elsewhere).c_str(), platform::NarrowPath(m_folder).c_str()), 0);
    Crash(server);
    EXPECT_TRUE(FilesIn(m_elsewhere).empty());
}

TEST_F(LastWordsTest, AreNotLeftInAFolderThatAnotherUserMadeLater)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "not root: only root can give a folder away";
    CRunningProgram server = Start();
    TakeFolderAway();
    ASSERT_TRUE(platform::Succeeded(platform::Files().MakeDirectory(m_folder)));
    ASSERT_EQ(chown(platform::NarrowPath(m_folder).c_str(), 12345, 0), 0);
    Crash(server);
    EXPECT_TRUE(FilesIn(m_folder).empty());
}

TEST_F(LastWordsTest, MakeAFolderAnewThatWasCleanedAway)
{
    CRunningProgram server = Start();
    TakeFolderAway();
    Crash(server);
    ExpectReport();
}

} // namespace
