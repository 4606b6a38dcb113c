#include "protocol/ChangedGroupsFile.h"

#include "com/Guid.h"
#include "com/ZelCom.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace {

using CIds = std::vector<GUID>;

constexpr GUID kFirst = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID kSecond = {0xFEDCBA98, 0x7654, 0x3210, {0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8}};

class GroupsFile : public testing::Test {
protected:
    GroupsFile() { CoInitializeSYS(nullptr); }
    ~GroupsFile() override { CoUninitializeSYS(); }

    ChangedGroupsFile::eRead Read(const std::string& bytes)
    {
        EXPECT_EQ(platform::WriteWholeFile(m_path, bytes), platform::eOsError_None);
        return ChangedGroupsFile::Read(m_path, m_content);
    }
    static std::string Golden()
    {
        const std::wstring path = platform::JoinPath(platform::FromUtf8(ZEL_GOLDEN_DIRECTORY), L"groups.xml");
        std::string bytes;
        EXPECT_EQ(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, bytes, 4096), platform::eOsError_None);
        return bytes;
    }
    static CIds Many(std::uint32_t count)
    {
        CIds ids;
        for (std::uint32_t number = 0; number < count; ++number)
            ids.push_back({number, 1, 1, {1}});
        return ids;
    }

    testsupport::CTemporaryDirectory m_dir;
    std::wstring m_path = m_dir / L"groups";
    ChangedGroupsFile::SContent m_content;
};

} // namespace

TEST_F(GroupsFile, IsReadAsItWasWrittenRepeatsIncluded)
{
    const CIds ids{kFirst, kSecond, kFirst, GUID{}};
    ASSERT_TRUE(ChangedGroupsFile::Write(m_path, ids));
    EXPECT_EQ(ChangedGroupsFile::Read(m_path, m_content), ChangedGroupsFile::eRead_Ok);
    EXPECT_EQ(m_content.ids, ids);
    EXPECT_FALSE(m_content.isSideBySide);
}

TEST_F(GroupsFile, IsReadWithTheIdsAsAttributesSideBySide)
{
    const std::string first = platform::ToUtf8(GuidToText(kFirst));
    const std::string second = platform::ToUtf8(GuidToText(kSecond));
    EXPECT_EQ(Read("<Archive version=\"1\"><Group RevisionID=\"" + first + "\"/><Group RevisionID=\"" + second +
                   "\"/></Archive>"),
              ChangedGroupsFile::eRead_Ok);
    EXPECT_EQ(m_content.ids, (CIds{kFirst, kSecond}));
    EXPECT_TRUE(m_content.isSideBySide);
}

TEST_F(GroupsFile, WithoutAGroupHasNoIds)
{
    EXPECT_EQ(Read("<Archive version=\"1\"/>"), ChangedGroupsFile::eRead_Ok);
    EXPECT_EQ(m_content.ids, CIds());
}

TEST_F(GroupsFile, WhatIsNoIdMeansEverything)
{
    EXPECT_EQ(Read("<Archive version=\"1\"><Group><RevisionID>x</RevisionID></Group></Archive>"),
              ChangedGroupsFile::eRead_Ok);
    EXPECT_EQ(m_content.ids, CIds{GUID{}});
    EXPECT_EQ(Read("<Archive version=\"1\"><Group/></Archive>"), ChangedGroupsFile::eRead_Ok);
    EXPECT_EQ(m_content.ids, CIds{GUID{}});
}

TEST_F(GroupsFile, ThatIsHeldOrMissingIsNotTakenForADamagedOne)
{
    EXPECT_EQ(ChangedGroupsFile::Read(m_dir / L"missing", m_content), ChangedGroupsFile::eRead_Unreadable);
    EXPECT_NE(m_content.reason, L"");
    ASSERT_TRUE(ChangedGroupsFile::Write(m_path, {kFirst}));
    std::unique_ptr<platform::IFile> holder;
    ASSERT_EQ(platform::Files().Open(m_path, platform::eOpenMode_WriteExclusive, holder), platform::eOsError_None);
    EXPECT_EQ(ChangedGroupsFile::Read(m_path, m_content), ChangedGroupsFile::eRead_Unreadable);
}

TEST_F(GroupsFile, CutAtAnyLengthHasNoIdsThatItDidNotHave)
{
    const std::string bytes = Golden();
    ASSERT_EQ(Read(bytes), ChangedGroupsFile::eRead_Ok);
    ASSERT_EQ(m_content.ids, (CIds{kFirst, kSecond}));
    for (std::size_t length = 0; length + 1 < bytes.size(); ++length) { // the line end may be missing
        EXPECT_EQ(Read(bytes.substr(0, length)), ChangedGroupsFile::eRead_Damaged) << length;
        EXPECT_TRUE(m_content.ids.empty()) << length;
    }
}

TEST_F(GroupsFile, WithAnyBitTurnedIsReadOrRefused)
{
    const std::string bytes = Golden();
    unsigned refused = 0;
    for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
        std::string turned = bytes;
        turned[bit / 8] = static_cast<char>(turned[bit / 8] ^ (1 << bit % 8));
        if (Read(turned) == ChangedGroupsFile::eRead_Damaged)
            ++refused;
        else
            EXPECT_LE(m_content.ids.size(), 2U) << turned;
    }
    EXPECT_GT(refused, 500U);
}

TEST_F(GroupsFile, RepeatsAreKeptOnlyWhileTheyAreFew)
{
    CIds ids(ChangedGroupsFile::kMaxWithRepeats, kFirst);
    EXPECT_EQ(ChangedGroupsFile::Bounded(ids), ids);
    ids.push_back(kSecond);
    EXPECT_EQ(ChangedGroupsFile::Bounded(ids), (CIds{kFirst, kSecond}));
}

TEST_F(GroupsFile, MoreIdsThanAnyPaletteHasMeanEverything)
{
    const CIds most = Many(ChangedGroupsFile::kMaxIds);
    EXPECT_EQ(ChangedGroupsFile::WithoutRepeats(most), most);
    EXPECT_EQ(ChangedGroupsFile::WithoutRepeats(Many(ChangedGroupsFile::kMaxIds + 1)), CIds{GUID{}});
}
