#include "ZEL_Processor/ZelProcessorClient.h"

#include <gtest/gtest.h>

TEST(AdditionalRequestStatus, ACopyHasNoCommentAndAnAssignedOneHas)
{
    CZelProcessorClient::CAdditionalRequestStatus source;
    source.SetStatus(eRequestStatus_Done);
    source.SetProgress(7);
    source.SetProgressComment(L"x");
    source.SetTimes(CTime(1), CTime(2));
    const CZelProcessorClient::CAdditionalRequestStatus copy(source);
    CZelProcessorClient::CAdditionalRequestStatus assigned;
    assigned = source;
    for (const CZelProcessorClient::CAdditionalRequestStatus* status :
         {&copy, static_cast<decltype(&copy)>(&assigned)}) {
        long progress = 0;
        CTime created;
        EXPECT_EQ(status->GetStatus(), eRequestStatus_Done);
        EXPECT_EQ(status->GetProgress(progress), 1);
        EXPECT_EQ(progress, 7);
        EXPECT_EQ(status->GetTimeCreated(created), 1);
        EXPECT_EQ(created, CTime(1));
        EXPECT_EQ(status->GetSnapshotHash(), 2);
    }
    EXPECT_EQ(copy.GetProgressComment(), L"");
    EXPECT_EQ(assigned.GetProgressComment(), L"x");
}

TEST(AdditionalRequestStatus, ClearingRestoresTheInitialValues)
{
    CZelProcessorClient::CAdditionalRequestStatus status;
    status.SetStatus(eRequestStatus_Done);
    status.SetProgress(7);
    status.SetProgressComment(L"x");
    status.SetTimes(CTime(1), CTime(2));
    status.Clear();
    long progress = 0;
    CTime time(5);
    EXPECT_EQ(status.GetStatus(), eRequestStatus_NotIntialized);
    EXPECT_EQ(status.GetProgress(progress), 0);
    EXPECT_EQ(progress, -1);
    EXPECT_EQ(status.GetProgressComment(), L"");
    EXPECT_EQ(status.GetTimeCreated(time), 0);
    EXPECT_EQ(time, CTime());
    EXPECT_EQ(status.GetTileModifyed(time), 0);
    EXPECT_EQ(status.GetSnapshotHash(), 0);
}
