#include "ZEL_Processor/ZelProcessorEnums.h"

const CRequestStatusNames& GetRequestStatusNames()
{
    static const CRequestStatusNames names = {
        {eRequestStatus_NotIntialized, L"eRequestStatus_NotIntialized"},
        {eRequestStatus_ClientError, L"eRequestStatus_ClientError"},
        {eRequestStatus_ServerError, L"eRequestStatus_ServerError"},
        {eRequestStatus_ServerTimeout, L"eRequestStatus_ServerTimeout"},
        {eRequestStatus_Sent, L"eRequestStatus_Sent"},
        {eRequestStatus_NotRequested, L"eRequestStatus_NotRequested"},
        {eRequestStatus_Waiting, L"eRequestStatus_Waiting"},
        {eRequestStatus_ProcessingStarted, L"eRequestStatus_ProcessingStarted"},
        {eRequestStatus_Parsing, L"eRequestStatus_Parsing"},
        {eRequestStatus_Calculating, L"eRequestStatus_Calculating"},
        {eRequestStatus_GettingData, L"eRequestStatus_GettingData"},
        {eRequestStatus_PreparingResponse, L"eRequestStatus_PreparingResponse"},
        {eRequestStatus_Canceled, L"eRequestStatus_Canceled"},
        {eRequestStatus_Paused, L"eRequestStatus_Paused"},
        {eRequestStatus_Done, L"eRequestStatus_Done"},
        {eRequestStatus_Last, L"eRequestStatus_Last"},
    };
    return names;
}

const CCommandTypeNames& GetCommandTypeNames()
{
    static const CCommandTypeNames names = {
        {eCommandType_NotInitialized, L"eCommandType_NotInitialized"},
        {eCommandType_CancelRequest, L"eCommandType_CancelRequest"},
        {eCommandType_PauseRequest, L"eCommandType_PauseRequest"},
        {eCommandType_RegisterClient, L"eCommandType_RegisterClient"},
        {eCommandType_UnregisterClient, L"eCommandType_UnregisterClient"},
    };
    return names;
}

CString EnumToName(std::int32_t value, const std::unordered_map<std::int32_t, CString>& names)
{
    const auto found = names.find(value);
    return found == names.end() ? CString(L"UNKNOWN_ENUM_TYPE!") : found->second;
}
