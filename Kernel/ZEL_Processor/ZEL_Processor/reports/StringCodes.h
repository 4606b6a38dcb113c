#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "framework/Services.h"

/// A text by its numeric identifier and code name.
struct SStringCode {
    unsigned id;
    const char* name;
};

/// The texts that processor, server and client show or write into a status comment. The numbers are fixed: language
/// resources and other hosts know the texts by them.
namespace StringCodes {

constexpr SStringCode kExceptionDuringRequest{101, "IDS_EXCEPTIONTHROW_DURING_PROCESSINGREQUEST"};
constexpr SStringCode kRequestCanceled{102, "IDS_REQUEST_CANCELED"};
constexpr SStringCode kReadingRequest{103, "IDS_READING_REQUEST"};
constexpr SStringCode kUnknownRequestFormat{104, "IDS_SERVER_ERROR_UNKNOWN_REQUEST_FORMAT"};
constexpr SStringCode kServerError{105, "IDS_SERVER_ERROR"};
constexpr SStringCode kCanNotInitializeResponse{106, "IDS_SERVER_ERROR_CAN_NOT_INITIALIZE_RESPONSE"};
constexpr SStringCode kGettingData{107, "IDS_GETTING_DATA"};
constexpr SStringCode kCanNotInitializeTask{110, "IDS_SERVER_ERROR_CAN_NOT_INITIALIZE_TASK"};
constexpr SStringCode kCanNotObtainData{111, "IDS_SERVER_ERROR_CAN_NOT_OBTAIN_DATA"};
constexpr SStringCode kCanNotSetResponse{112, "IDS_SERVER_ERROR_CAN_NOT_SET_RESPONSE"};
constexpr SStringCode kPreparingResponse{113, "IDS_PREPARING_RESPONSE"};
constexpr SStringCode kCanNotSaveResponse{114, "IDS_SERVER_ERROR_CAN_NOT_SAVE_RESPONSE"};
constexpr SStringCode kCantDeleteRequestFile{115, "IDS_CANT_DELETE_REQUEST_FILE"};
constexpr SStringCode kDone{116, "IDS_DONE"};
constexpr SStringCode kCantFindTaskNode{118, "IDS_CANT_FIND_TASK_NODE"};
constexpr SStringCode kCantFindTypeNode{119, "IDS_CANT_FIND_TYPE_NODE"};
constexpr SStringCode kUnknownRequestType{120, "IDS_UNKNOWN_REQUEST_TYPE"};
constexpr SStringCode kUnableInitTask{121, "IDS_UNABLE_INIT_TASK"};
constexpr SStringCode kWaitingInQueue{122, "IDS_WAITING_IN_QUEUE"};
constexpr SStringCode kWaitingToReceive{123, "IDS_WAITING_TO_RECEIVE_REQ"};
constexpr SStringCode kNotRequested{124, "IDS_NOT_REQUESTED"};
constexpr SStringCode kUnableOpenStatusFile{125, "IDS_CLIENT_ERR_UNABLE_OPEN_STATUS_FILE"};
constexpr SStringCode kUnableReadStatus{126, "IDS_CLIENT_ERR_UNABLE_READ_STATUS"};
constexpr SStringCode kProcessingStarted{127, "IDS_PROCESSING_STARTED"};
constexpr SStringCode kUnableMoveIntoQueue{128, "IDS_UNABLE_MOVE_FILE_INTO_QUEUE"};
constexpr SStringCode kInvalidCommandFile{130, "IDS_INVALID_FORMAT_OF_COMMAND_FILE"};
constexpr SStringCode kCanceled{131, "IDS_CANCELED"};
constexpr SStringCode kPaused{132, "IDS_PAUSED"};
constexpr SStringCode kUnableOpenInQueue{133, "IDS_UNABLE_OPEN_FILE_IN_QUEUE_FORREADING"};
constexpr SStringCode kTooManyWaiting{135, "IDS_TOO_MANY_WAITING"};
constexpr SStringCode kTooManyClients{136, "IDS_TOO_MANY_CLIENTS"};
constexpr SStringCode kRefusedDirectory{137, "IDS_REFUSED_DIRECTORY"};
constexpr SStringCode kRefusedNoFile{138, "IDS_REFUSED_NO_FILE"};
constexpr SStringCode kRefusedLink{139, "IDS_REFUSED_LINK"};
constexpr SStringCode kRefusedName{140, "IDS_REFUSED_NAME"};
constexpr SStringCode kRefusedLongName{141, "IDS_REFUSED_LONG_NAME"};
constexpr SStringCode kOperatorsOnly{142, "IDS_OPERATORS_ONLY"};
constexpr SStringCode kMoveToNowhere{143, "IDS_MOVE_TO_NOWHERE"};
constexpr SStringCode kDoesNotWait{144, "IDS_DOES_NOT_WAIT"};
constexpr SStringCode kOfAnotherTurn{145, "IDS_OF_ANOTHER_TURN"};
constexpr SStringCode kNotKept{146, "IDS_NOT_KEPT"};
constexpr SStringCode kNameInUse{147, "IDS_NAME_IN_USE"};
constexpr SStringCode kServerDrains{148, "IDS_SERVER_DRAINS"};
constexpr SStringCode kRequestInterrupted{150, "IDS_REQUEST_INTERRUPTED"};
constexpr SStringCode kProcessingAgain{151, "IDS_PROCESSING_AGAIN"};
constexpr SStringCode kEndLost{152, "IDS_END_LOST"};
constexpr SStringCode kCommandLost{153, "IDS_COMMAND_LOST"};
constexpr SStringCode kEndedAgain{154, "IDS_ENDED_AGAIN"};
constexpr SStringCode kEndUndone{155, "IDS_END_UNDONE"};
constexpr SStringCode kTimeLimit{156, "IDS_TIME_LIMIT"};
constexpr SStringCode kProcessingAttempt{157, "IDS_PROCESSING_ATTEMPT"};
constexpr SStringCode kAttemptFailed{158, "IDS_ATTEMPT_FAILED"};
constexpr SStringCode kReasonEmpty{160, "IDS_REASON_EMPTY"};
constexpr SStringCode kReasonType{161, "IDS_REASON_TYPE"};
constexpr SStringCode kReasonServed{162, "IDS_REASON_SERVED"};
constexpr SStringCode kReasonLeftOut{163, "IDS_REASON_LEFT_OUT"};
constexpr SStringCode kReasonPlace{164, "IDS_REASON_PLACE"};
constexpr SStringCode kCannotBeMoved{166, "IDS_CLIENT_CANNOT_BE_MOVED"};
constexpr SStringCode kTaskProcessFault{167, "IDS_TASK_PROCESS_FAULT"};
constexpr SStringCode kTaskProcessExit{168, "IDS_TASK_PROCESS_EXIT"};
constexpr SStringCode kTaskProcessSignal{169, "IDS_TASK_PROCESS_SIGNAL"};
constexpr SStringCode kTaskProcessNonsense{170, "IDS_TASK_PROCESS_NONSENSE"};
constexpr SStringCode kTaskProcessKilled{171, "IDS_TASK_PROCESS_KILLED"};
constexpr SStringCode kTaskProcessMemory{172, "IDS_TASK_PROCESS_MEMORY"};
constexpr SStringCode kTaskProcessReport{173, "IDS_TASK_PROCESS_REPORT"};
constexpr SStringCode kTaskProcessNotStarted{174, "IDS_TASK_PROCESS_NOT_STARTED"};
constexpr SStringCode kSandboxRefused{175, "IDS_SANDBOX_REFUSED"};
constexpr SStringCode kSandboxKilled{176, "IDS_SANDBOX_KILLED"};

/// Fetched by number alone: the XML of a request, and of a command, can't be parsed; the question before a crash
/// report.
constexpr unsigned kCantParseRequest = 117;
constexpr unsigned kCantParseCommand = 129;
constexpr unsigned kCrashReportQuestion = 134;

/// Of the codes of the C interface, in their order.
constexpr SStringCode kCodes[] = {
    {177, "IDS_CODE_OK"},
    {178, "IDS_CODE_TIMEOUT"},
    {179, "IDS_CODE_STOPPED"},
    {180, "IDS_CODE_BAD_NAME"},
    {181, "IDS_CODE_BAD_ARGUMENT"},
    {182, "IDS_CODE_NAME_IN_USE"},
    {183, "IDS_CODE_UNKNOWN_REQUEST"},
    {184, "IDS_CODE_NOT_ENDED"},
    {185, "IDS_CODE_HAS_ENDED"},
    {186, "IDS_CODE_HAS_STARTED"},
    {187, "IDS_CODE_NOT_PAUSED"},
    {188, "IDS_CODE_REQUEST_WAS_CANCELED"},
    {189, "IDS_CODE_REQUEST_FAILED"},
    {190, "IDS_CODE_NO_ANSWER"},
    {191, "IDS_CODE_REFUSED"},
    {192, "IDS_CODE_FILE_ERROR"},
    {193, "IDS_CODE_SYSTEM_ERROR"},
    {194, "IDS_CODE_NO_SERVER"},
    {195, "IDS_CODE_WOKEN"},
    {196, "IDS_CODE_NO_MEMORY"},
    {197, "IDS_CODE_WRONG_TIME"},
    {198, "IDS_CODE_NO_PLUGIN"},
    {199, "IDS_CODE_INTERNAL"},
};

} // namespace StringCodes

[[nodiscard]] inline CString TextOf(const SStringCode& code)
{
    return RootApp_RSC_CStr(code.id, code.name);
}
