#include "platform/FileSystem.h"

#include "platform/AppendFile.h"
#include "platform/Module.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

using testsupport::CTemporaryDirectory;

class SpecialFileTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(mkfifo(NarrowPath(m_fifo).c_str(), 0600), 0); }

    const CTemporaryDirectory m_directory;
    const std::wstring m_fifo = m_directory / L"request.drq";
};

TEST_F(SpecialFileTest, ANamedPipeNeverBlocksAndIsNeverTaken)
{
    std::unique_ptr<IFile> file;
    for (const auto mode : {eOpenMode_ReadExclusive, eOpenMode_ReadShared, eOpenMode_WriteExclusive})
        EXPECT_EQ(Files().Open(m_fifo, mode, file), eOsError_AccessDenied) << mode;
    std::unique_ptr<ILockFile> lock;
    EXPECT_EQ(Files().OpenLockFile(m_fifo, "", lock), eOsError_AccessDenied);
    EXPECT_EQ(Files().Move(m_fifo, m_directory / L"moved", 0), eOsError_AccessDenied);
    EXPECT_EQ(Files().Remove(m_fifo), eOsError_AccessDenied);
    ASSERT_EQ(WriteWholeFile(m_directory / L"file", ""), eOsError_None);
    EXPECT_EQ(Files().Move(m_directory / L"file", m_fifo, eMoveFlag_ReplaceExisting), eOsError_AccessDenied);
    EXPECT_TRUE(PathExists(m_fifo));
}

TEST_F(SpecialFileTest, DevicesAreNotTakenEither)
{
    std::unique_ptr<IFile> file;
    EXPECT_EQ(Files().Open(L"/dev/null", eOpenMode_WriteExclusive, file), eOsError_AccessDenied);
    EXPECT_EQ(Files().Open(L"/dev/zero", eOpenMode_ReadShared, file), eOsError_AccessDenied);
    EXPECT_EQ(Files().Move(L"/dev/null", m_directory / L"null", 0), eOsError_AccessDenied);
}

TEST_F(SpecialFileTest, ItIsListedAsAFile)
{
    std::vector<SDirectoryEntry> entries;
    ASSERT_EQ(Files().List(m_directory.Path(), entries), eOsError_None);
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].name, L"request.drq");
    EXPECT_FALSE(entries[0].isDirectory);
    EXPECT_EQ(entries[0].kind, eNameKind_Other);
}

TEST_F(SpecialFileTest, ALinkToADirectoryCountsAsADirectory)
{
    const CTemporaryDirectory other;
    ASSERT_EQ(symlink(NarrowPath(m_directory.Path()).c_str(), NarrowPath(other / L"link").c_str()), 0);
    std::vector<SDirectoryEntry> entries;
    ASSERT_EQ(Files().List(other.Path(), entries), eOsError_None);
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_TRUE(entries[0].isDirectory);
    EXPECT_EQ(Files().Move(other / L"link", other / L"moved", 0), eOsError_AccessDenied) << "as a directory is";
    EXPECT_EQ(Files().Remove(other / L"link"), eOsError_AccessDenied);
}

TEST_F(SpecialFileTest, ALogIsNotAppendedToThroughALinkThatAnybodyCouldHaveMade)
{
    const std::wstring folder = m_directory / L"logs";
    const std::wstring target = m_directory / L"target";
    const std::wstring link = JoinPath(folder, L"log");
    ASSERT_EQ(Files().MakeDirectory(folder), eOsError_None);
    ASSERT_EQ(WriteWholeFile(target, "kept"), eOsError_None);
    ASSERT_EQ(symlink(NarrowPath(target).c_str(), NarrowPath(link).c_str()), 0);
    std::unique_ptr<IAppendFile> file;
    ASSERT_EQ(chmod(NarrowPath(folder).c_str(), 01777), 0);
    EXPECT_EQ(OpenForAppending(link, file), eOsError_LinkInTheWay);
    EXPECT_EQ(file, nullptr);
    ASSERT_EQ(chmod(NarrowPath(folder).c_str(), 0755), 0);
    ASSERT_EQ(OpenForAppending(link, file), eOsError_None) << "it is the operator's own";
    EXPECT_EQ(file->Write(" and more"), eOsError_None);
    EXPECT_EQ(file->Length(), 13U);
    std::string bytes;
    EXPECT_EQ(ReadWholeFile(target, eOpenMode_ReadShared, bytes, 100), eOsError_None);
    EXPECT_EQ(bytes, "kept and more");
    EXPECT_EQ(OpenForAppending(m_directory / L"none/log", file), eOsError_PathNotFound);
}

TEST_F(SpecialFileTest, ALogInAFolderForAllIsAFileOfThisUsersAndNothingElse)
{
    const std::wstring folder = m_directory / L"logs";
    const std::wstring path = JoinPath(folder, L"log");
    const std::wstring another = m_directory / L"another";
    ASSERT_EQ(Files().MakeDirectory(folder), eOsError_None);
    ASSERT_EQ(WriteWholeFile(another, "kept"), eOsError_None);
    const auto forAll = [&](mode_t mode) { ASSERT_EQ(chmod(NarrowPath(folder).c_str(), mode), 0); };
    std::unique_ptr<IAppendFile> file;

    ASSERT_EQ(link(NarrowPath(another).c_str(), NarrowPath(path).c_str()), 0);
    forAll(01777);
    EXPECT_EQ(OpenForAppending(path, file), eOsError_AccessDenied) << "a second name of another file";
    forAll(0755);
    EXPECT_EQ(OpenForAppending(path, file), eOsError_None) << "where it is this user's own";
    ASSERT_EQ(unlink(NarrowPath(path).c_str()), 0);

    ASSERT_EQ(mkfifo(NarrowPath(path).c_str(), 0600), 0);
    const int reader = open(NarrowPath(path).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    forAll(01777);
    EXPECT_EQ(OpenForAppending(path, file), eOsError_AccessDenied) << "a pipe, even with a reader";
    close(reader);
    ASSERT_EQ(unlink(NarrowPath(path).c_str()), 0);

    ASSERT_EQ(OpenForAppending(path, file), eOsError_None);
    ASSERT_EQ(OpenForAppending(path, file), eOsError_None) << "made here before";
    if (geteuid() == 0) {
        ASSERT_EQ(chown(NarrowPath(path).c_str(), 12345, 0), 0);
        EXPECT_NE(OpenForAppending(path, file), eOsError_None) << "by the system or by this look, as it is set up";
        forAll(0777); // where the system does not look
        EXPECT_EQ(OpenForAppending(path, file), eOsError_ForeignOwner);
    }
}

TEST_F(SpecialFileTest, ANamedPipeAsALogIsNotWaitedFor)
{
    std::unique_ptr<IAppendFile> file;
    EXPECT_EQ(OpenForAppending(m_fifo, file), eOsError_BrokenPipe) << "nobody reads";
    const int reader = open(NarrowPath(m_fifo).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    ASSERT_EQ(OpenForAppending(m_fifo, file), eOsError_None);
    EXPECT_EQ(file->Write("line"), eOsError_None);
    char bytes[5] = {};
    EXPECT_EQ(read(reader, bytes, 4), 4);
    EXPECT_STREQ(bytes, "line");
    close(reader);
    EXPECT_EQ(OpenForAppending(L"/dev/null", file), eOsError_None);
    EXPECT_EQ(file->Write("line"), eOsError_None);
}

TEST_F(SpecialFileTest, APipeIsOfNoUsualKind)
{
    EXPECT_EQ(NameKind(m_fifo), eNameKind_Other);
    EXPECT_EQ(CheckOwnDirectory(m_fifo), eOsError_NotADirectory);
}

TEST_F(SpecialFileTest, DirectoryOfAnotherUserIsNotTrusted)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "geteuid: only root gives a directory away";
    ASSERT_EQ(chown(NarrowPath(m_directory.Path()).c_str(), 1, 1), 0);
    EXPECT_EQ(CheckOwnDirectory(m_directory.Path()), eOsError_ForeignOwner);
    ASSERT_EQ(chown(NarrowPath(m_directory.Path()).c_str(), 0, 1), 0);
    EXPECT_EQ(CheckOwnDirectory(m_directory.Path()), eOsError_None);
}

} // namespace
} // namespace platform
