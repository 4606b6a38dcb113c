#include "ZEL_Processor/ZelProcessorEnums.h"

#include <gtest/gtest.h>

TEST(ZelProcessorEnums, StatusesHaveTheNumbersAndNamesOfTheProtocol)
{
    const wchar_t* const names[] = {L"eRequestStatus_NotIntialized", L"eRequestStatus_ClientError",
                                    L"eRequestStatus_ServerError",   L"eRequestStatus_ServerTimeout",
                                    L"eRequestStatus_Sent",          L"eRequestStatus_NotRequested",
                                    L"eRequestStatus_Waiting",       L"eRequestStatus_ProcessingStarted",
                                    L"eRequestStatus_Parsing",       L"eRequestStatus_Calculating",
                                    L"eRequestStatus_GettingData",   L"eRequestStatus_PreparingResponse",
                                    L"eRequestStatus_Canceled",      L"eRequestStatus_Paused",
                                    L"eRequestStatus_Done",          L"eRequestStatus_Last"};
    std::int32_t status = -1;
    for (const wchar_t* name : names)
        EXPECT_EQ(EnumToName(status++, GetRequestStatusNames()), name);
    EXPECT_EQ(GetRequestStatusNames().size(), 16U);
}

TEST(ZelProcessorEnums, CommandsHaveTheNumbersAndNamesOfTheProtocol)
{
    EXPECT_EQ(EnumToName(-1, GetCommandTypeNames()), L"eCommandType_NotInitialized");
    EXPECT_EQ(EnumToName(0, GetCommandTypeNames()), L"eCommandType_CancelRequest");
    EXPECT_EQ(EnumToName(1, GetCommandTypeNames()), L"eCommandType_PauseRequest");
    EXPECT_EQ(EnumToName(2, GetCommandTypeNames()), L"eCommandType_RegisterClient");
    EXPECT_EQ(EnumToName(3, GetCommandTypeNames()), L"eCommandType_UnregisterClient");
    EXPECT_EQ(GetCommandTypeNames().size(), 5U);
}

TEST(ZelProcessorEnums, ValuesOutsideTheTablesAreUnknown)
{
    EXPECT_EQ(EnumToName(15, GetRequestStatusNames()), L"UNKNOWN_ENUM_TYPE!");
    EXPECT_EQ(EnumToName(-2, GetRequestStatusNames()), L"UNKNOWN_ENUM_TYPE!");
    EXPECT_EQ(EnumToName(4, GetCommandTypeNames()), L"UNKNOWN_ENUM_TYPE!");
}

TEST(ZelProcessorEnums, AskingAgainInsertsNothing)
{
    const auto* first = &GetRequestStatusNames();
    EXPECT_EQ(first, &GetRequestStatusNames());
    EXPECT_EQ(GetRequestStatusNames().size(), 16U);
    EXPECT_EQ(GetCommandTypeNames().size(), 5U);
}
