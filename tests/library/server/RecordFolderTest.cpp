#include "server/RecordFolder.h"

#include "platform/Os.h"
#include "platform/Path.h"
#include "tests/support/FaultyFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <map>

namespace {

class RecordFolder : public testing::Test {
protected:
    using Records = std::map<CString, std::string>;

    [[nodiscard]] Records All() const
    {
        Records records;
        EXPECT_TRUE(platform::Succeeded(m_records.Visit(
            [&](const CString& name, const std::string& bytes) { EXPECT_TRUE(records.emplace(name, bytes).second); })));
        return records;
    }

    const testsupport::CTemporaryDirectory m_directory;
    const std::wstring m_folder = m_directory / L"own/records";
    const CRecordFolder m_records{m_folder, false};
};

} // namespace

TEST_F(RecordFolder, KeepsWhatIsWrittenUntilItIsRemoved)
{
    EXPECT_EQ(All(), Records()) << "there is no folder yet";
    EXPECT_EQ(m_records.Write(L"a", "first"), platform::eOsError_None);
    EXPECT_EQ(m_records.Write(L"b", ""), platform::eOsError_None);
    EXPECT_EQ(m_records.Write(L"a", "second"), platform::eOsError_None);
    EXPECT_EQ(All(), (Records{{L"a", "second"}, {L"b", ""}}));
    m_records.Remove(L"a");
    m_records.Remove(L"none");
    EXPECT_EQ(All(), (Records{{L"b", ""}}));
}

TEST_F(RecordFolder, ARecordThatCanNotBeReadIsEmptyAndAFolderIsNone)
{
    EXPECT_EQ(m_records.Write(L"fits", std::string(1024, 'x')), platform::eOsError_None);
    EXPECT_EQ(m_records.Write(L"long", std::string(1025, 'x')), platform::eOsError_None);
    EXPECT_EQ(platform::Files().MakeDirectory(platform::JoinPath(m_folder, L"folder")), platform::eOsError_None);
    EXPECT_EQ(All(), (Records{{L"fits", std::string(1024, 'x')}, {L"long", ""}}));
}

TEST_F(RecordFolder, ItIsOnTheDeviceWhenThatIsAskedForAndOnlyThen)
{
    testsupport::CFaultyFiles files;
    const platform::CScopedOs os(&files, nullptr);
    const auto syncs = [&] {
        return std::pair(files.Count(testsupport::eFileCall_Sync), files.Count(testsupport::eFileCall_SyncDirectory));
    };
    EXPECT_EQ(m_records.Write(L"a", "x"), platform::eOsError_None);
    EXPECT_EQ(syncs(), std::pair(0U, 0U));
    const CRecordFolder synced(m_directory / L"own/synced", true);
    EXPECT_EQ(synced.Write(L"a", "x"), platform::eOsError_None);
    EXPECT_EQ(syncs(), std::pair(1U, 2U)) << "the folder's name, the file, the file's name";
    EXPECT_EQ(synced.Write(L"b", "y"), platform::eOsError_None);
    EXPECT_EQ(syncs(), std::pair(2U, 3U));
}

TEST_F(RecordFolder, AStepThatFailsIsToldToTheCaller)
{
    EXPECT_EQ(platform::WriteWholeFile(m_directory / L"own", ""), platform::eOsError_None);
    EXPECT_NE(m_records.Write(L"a", "x"), platform::eOsError_None) << "a file is in the folder's way";
    const CRecordFolder synced(m_directory / L"synced", true);
    EXPECT_EQ(synced.Write(L"a", "x"), platform::eOsError_None);
    testsupport::CFaultyFiles files;
    const platform::CScopedOs os(&files, nullptr);
    for (const testsupport::eFileCall call :
         {testsupport::eFileCall_Open, testsupport::eFileCall_Write, testsupport::eFileCall_Sync,
          testsupport::eFileCall_Close, testsupport::eFileCall_SyncDirectory}) {
        files.FailCall(call, 1, platform::eOsError_DiskFull);
        EXPECT_EQ(synced.Write(L"a", "y"), platform::eOsError_DiskFull) << call;
    }
    const CRecordFolder another(m_directory / L"another", true);
    files.FailCall(testsupport::eFileCall_SyncDirectory, 1, platform::eOsError_DiskFull);
    EXPECT_EQ(another.Write(L"a", "x"), platform::eOsError_DiskFull) << "the name of the folder itself";
    files.FailCall(testsupport::eFileCall_List, 1, platform::eOsError_AccessDenied);
    EXPECT_EQ(synced.Visit([](const CString&, const std::string&) { FAIL(); }), platform::eOsError_AccessDenied);
}
