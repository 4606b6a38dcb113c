#include "server/SlotRecords.h"

#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "protocol/SlotRecord.h"
#include "server/ServerSettings.h"
#include "tests/support/Links.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

class SlotRecordsTest : public testing::Test {
protected:
    SlotRecordsTest()
    {
        m_settings.m_paths.m_strOutputDir = m_root.Path();
        m_settings.m_options.tellSlots = true;
        m_settings.m_options.slots = 2;
    }
    [[nodiscard]] std::vector<SSlotRecord> Told() const
    {
        return SlotRecord::ReadAll(SlotRecord::FolderIn(m_root.Path()), platform::CurrentProcessId());
    }
    [[nodiscard]] bool HasWritten() const { return platform::PathExists(m_settings.m_paths.InOwnFolder({})); }

    const testsupport::CTemporaryDirectory m_root;
    CServerSettings m_settings;
    const CSlotRecords m_records{m_settings};
};

TEST_F(SlotRecordsTest, EachSlotTellsWhatItRunsAndSinceWhen)
{
    const std::int64_t before = platform::Clock().UtcSeconds();
    m_records.Tell(0, m_root / L"a.drq");
    m_records.Tell(1, m_root / L"b.drq");
    m_records.Tell(0, m_root / L"longer.drq");
    m_records.Tell(0, m_root / L"c.drq");
    const std::vector<SSlotRecord> told = Told();
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].request, L"c.drq");
    EXPECT_EQ(told[1].request, L"b.drq");
    EXPECT_EQ(told[1].slot, 2U);
    EXPECT_GE(told[0].since, before);
    EXPECT_LE(told[0].since, platform::Clock().UtcSeconds());
    m_records.Clear();
    EXPECT_TRUE(Told().empty());
}

TEST_F(SlotRecordsTest, ALibraryThatNobodyAskedAndAServerOfOneSlotWriteNothing)
{
    m_settings.m_options.slots = 1;
    m_records.Tell(0, m_root / L"a.drq");
    m_settings.m_options.slots = 2;
    m_settings.m_options.tellSlots = SZelServerOptions().tellSlots;
    m_records.Clear();
    m_records.Tell(0, m_root / L"a.drq");
    EXPECT_FALSE(HasWritten());
}

TEST_F(SlotRecordsTest, AnOutputDirectoryThatIsGoneIsNotMade)
{
    m_settings.m_paths.m_strOutputDir = m_root / L"gone";
    m_records.Clear();
    m_records.Tell(0, m_root / L"a.drq");
    EXPECT_FALSE(platform::PathExists(m_root / L"gone"));
}

TEST_F(SlotRecordsTest, InAFolderThatSomebodyPutThereNothingIsWrittenOrRemoved)
{
    const std::wstring elsewhere = m_root / L"elsewhere";
    const std::wstring slots = platform::JoinPath(elsewhere, Protocol::kSlotsDirectory);
    ASSERT_EQ(platform::MakeDirectories(slots), platform::eOsError_None);
    for (const std::wstring& folder : {elsewhere, slots})
        ASSERT_EQ(platform::WriteWholeFile(platform::JoinPath(folder, L"2"), "mine"), platform::eOsError_None);
    const auto expectUntouched = [&] {
        m_records.Clear();
        m_records.Tell(0, m_root / L"a.drq");
        for (const std::wstring& folder : {elsewhere, slots}) {
            EXPECT_TRUE(platform::PathExists(platform::JoinPath(folder, L"2")));
            EXPECT_FALSE(platform::PathExists(platform::JoinPath(folder, L"1")));
        }
    };
    if (!testsupport::MakeLink(elsewhere, m_settings.m_paths.InOwnFolder({})))
        GTEST_SKIP() << "there are no links";
    expectUntouched();
    m_settings.m_paths.m_strOutputDir = m_root / L"other";
    ASSERT_EQ(platform::MakeDirectories(m_settings.m_paths.InOwnFolder({})), platform::eOsError_None);
    ASSERT_TRUE(testsupport::MakeLink(slots, SlotRecord::FolderIn(m_settings.m_paths.m_strOutputDir)));
    expectUntouched();
}

TEST_F(SlotRecordsTest, OnlyFilesOfSlotsAreRemoved)
{
    m_records.Tell(0, m_root / L"a.drq");
    const std::wstring folder = SlotRecord::FolderIn(m_root.Path());
    const auto write = [&](const wchar_t* name) {
        ASSERT_EQ(platform::WriteWholeFile(platform::JoinPath(folder, name), "x"), platform::eOsError_None);
    };
    for (const wchar_t* name : {L"64", L"65", L"0", L"01", L"1.txt"})
        write(name);
    m_records.Clear();
    for (const wchar_t* name : {L"65", L"0", L"01", L"1.txt"})
        EXPECT_TRUE(platform::PathExists(platform::JoinPath(folder, name))) << testing::PrintToString(name);
    for (const wchar_t* name : {L"1", L"64"})
        EXPECT_FALSE(platform::PathExists(platform::JoinPath(folder, name))) << testing::PrintToString(name);
}

TEST_F(SlotRecordsTest, WhoKeepsOneOpenHoldsUpNoRun)
{
    m_records.Tell(0, m_root / L"a.drq");
    std::unique_ptr<platform::IFile> file;
    ASSERT_EQ(platform::Files().Open(platform::JoinPath(SlotRecord::FolderIn(m_root.Path()), L"1"),
                                     platform::eOpenMode_ReadExclusive, file),
              platform::eOsError_None);
    m_records.Tell(0, m_root / L"b.drq");
    file.reset();
    ASSERT_EQ(Told().size(), 1U);
    EXPECT_EQ(Told()[0].request, L"a.drq");
    m_records.Tell(0, m_root / L"b.drq");
    EXPECT_EQ(Told()[0].request, L"b.drq");
}

} // namespace
