#include "server/ClientRecords.h"

#include "server/RecordFolder.h"
#include "tests/library/server/RunFixture.h"

namespace {

class ClientRecordsTest : public CRunFixture {
protected:
    ClientRecordsTest() { m_settings.m_options.resume = true; }
    [[nodiscard]] CClientRecords::Records All() const
    {
        CClientRecords::Records records;
        EXPECT_EQ(m_records.ReadAll(records), platform::eOsError_None);
        return records;
    }

    const CClientRecords m_records{m_settings};
    const GUID m_first{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    const GUID m_second{2, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
};

TEST_F(ClientRecordsTest, WhatIsWrittenIsReadUntilItIsRemoved)
{
    EXPECT_TRUE(All().empty());
    m_records.Write(m_first, {"his", false});
    m_records.Write(m_second, {"", true});
    EXPECT_EQ(All().size(), 2U);
    EXPECT_EQ(All()[m_first].owner, "his");
    EXPECT_FALSE(All()[m_first].isSeen);
    EXPECT_EQ(All()[m_second].owner, "");
    EXPECT_TRUE(All()[m_second].isSeen);
    m_records.Write(m_first, {"his", true});
    EXPECT_EQ(All()[m_first].owner, "his");
    EXPECT_TRUE(All()[m_first].isSeen);
    m_records.Remove(m_first);
    EXPECT_EQ(All().size(), 1U);
}

TEST_F(ClientRecordsTest, WhatTellsNothingIsNotWritten)
{
    m_records.Write(m_first, {});
    EXPECT_TRUE(All().empty());
}

TEST_F(ClientRecordsTest, AServerThatDoesNotResumeKeepsNone)
{
    m_settings.m_options.resume = false;
    m_records.Write(m_first, {"his", true});
    EXPECT_TRUE(All().empty());
    EXPECT_FALSE(platform::PathExists(m_settings.m_paths.InOwnFolder(L"clients")));
}

TEST_F(ClientRecordsTest, AFileOfAnotherNameIsNoRecord)
{
    const CRecordFolder folder(m_settings.m_paths.InOwnFolder(L"clients"), false);
    ASSERT_EQ(folder.Write(L"notes", "his\nseen"), platform::eOsError_None);
    EXPECT_TRUE(All().empty());
}

TEST_F(ClientRecordsTest, ARecordThatCanNotBeReadIsThatOfAClientOfNobody)
{
    m_records.Write(m_first, {"his", true});
    Write(m_settings.m_paths.InOwnFolder(L"clients/" + GuidToText(m_first)), std::string(100'000, 'x'));
    ASSERT_EQ(All().size(), 1U);
    EXPECT_EQ(All()[m_first].owner, "");
    EXPECT_FALSE(All()[m_first].isSeen);
}

} // namespace
