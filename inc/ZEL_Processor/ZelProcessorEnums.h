#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelTypes.h"

#include <cstdint>
#include <unordered_map>

/// The status of a request. The numbers are part of the file protocol: status files hold them in decimal.
enum eZelProcRequestStatus : std::int32_t {
    eRequestStatus_NotIntialized = -1,    ///< no status yet, or one that can't be read
    eRequestStatus_ClientError = 0,       ///< the client could not read the status file, or failed before sending
    eRequestStatus_ServerError = 1,       ///< the comment holds the reason
    eRequestStatus_ServerTimeout = 2,     ///< the server did not answer in time
    eRequestStatus_Sent = 3,              ///< handed over to the server's directory
    eRequestStatus_NotRequested = 4,      ///< no such request is known
    eRequestStatus_Waiting = 5,           ///< waits in the queue
    eRequestStatus_ProcessingStarted = 6, ///< the executive thread took it
    eRequestStatus_Parsing = 7,           ///< the request file is being read
    eRequestStatus_Calculating = 8,       ///< the task computes
    eRequestStatus_GettingData = 9,       ///< the task obtains its data
    eRequestStatus_PreparingResponse = 10,
    eRequestStatus_Canceled = 11,
    eRequestStatus_Paused = 12,
    eRequestStatus_Done = 13, ///< finished successfully: the output file is complete
    eRequestStatus_Last = 14, ///< end marker, never a real status
};

/// What a command file asks the server to do.
enum eCommandType : std::int32_t {
    eCommandType_NotInitialized = -1,
    eCommandType_CancelRequest = 0,
    eCommandType_PauseRequest = 1, ///< pauses a request, and unpauses one that is paused
    eCommandType_RegisterClient = 2,
    eCommandType_UnregisterClient = 3,
};

/// Where a waiting request is moved to: CZelProcessorClient::MoveRequest.
enum eRequestPlace : std::int32_t {
    eRequestPlace_First,
    eRequestPlace_Last,
    eRequestPlace_Before, ///< another one
};

using CRequestStatusNames = std::unordered_map<std::int32_t, CString>;
using CCommandTypeNames = std::unordered_map<std::int32_t, CString>;

/// Names of the values, for diagnostics only: no file of the protocol carries one. Built on first use, then only read;
/// safe from any thread.
[[nodiscard]] ZEL_API const CRequestStatusNames& GetRequestStatusNames();
[[nodiscard]] ZEL_API const CCommandTypeNames& GetCommandTypeNames();

/// The name of a value, or "UNKNOWN_ENUM_TYPE!". Never fails.
[[nodiscard]] ZEL_API CString EnumToName(std::int32_t value, const std::unordered_map<std::int32_t, CString>& names);
