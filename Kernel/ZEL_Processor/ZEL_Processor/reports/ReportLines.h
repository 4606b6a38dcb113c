#pragma once

/// Every line number that an error report of the library carries. Together with the source's name (SourceNames.h) it is
/// what tells reports apart, for those who read them and for their tools: a number stays with its report, wherever the
/// code that makes it has gone to, and none is used twice for one source.
namespace ReportLines {

// LockFile
constexpr long kLockNotCreated = 49;
constexpr long kLockTimeout = 58;
constexpr long kLockAlreadyHeld = 83;

// ProtocolFiles
constexpr long kMoveNotSynced = 1;

// XMLTools
constexpr long kPropertiesTaskFailed = 1;

// ZELAutomationEnvFile
constexpr long kListMiscounted = 237;

// ZelProcessor
constexpr long kStatusNotWritten = 1;
constexpr long kNoContext = 68;
constexpr long kCantDeleteRequest = 166;

// ZelProcessorServer: threads and listener
constexpr long kThreadFailed = 90;
constexpr long kRequestDirNotWatched = 140;
constexpr long kRequestDirNotRearmed = 162;
constexpr long kScanFailed = 170;
constexpr long kQueueNotSynced = 185;
// requests
constexpr long kRequestFailed = 312;
constexpr long kResponsesNotSynced = 318;
constexpr long kExceptionFilter = 329;
// registrations
constexpr long kCantCreateDsEvents = 823;
constexpr long kNoDsEvents = 831;
constexpr long kCantCreateItems = 843;
constexpr long kNoItems = 851;
constexpr long kCantCreateAnswer = 863;
// notifications
constexpr long kEventDropped = 905;
constexpr long kClientNotTold = 906;
constexpr long kEventsNotRead = 963;
constexpr long kEventsNotUnlockedUnread = 966;
constexpr long kEventsNotWritten = 984;
constexpr long kEventsNotUnlockedUnwritten = 988;
constexpr long kEventsNotUnlocked = 999;
constexpr long kGroupsNotLocked = 1018;
constexpr long kGroupsNotWritten = 1062;
constexpr long kGroupsNotUnlocked = 1071;
constexpr long kLockResultsNotLocked = 1097;
constexpr long kLockResultsNotWritten = 1110;
constexpr long kLockResultsNotUnlocked = 1115;

// ZelProcessorClient: requests and commands
constexpr long kMessageMissing = 193;
constexpr long kMessageNotMoved = 200;
constexpr long kNoCommandDocument = 232;
constexpr long kCommandNotSaved = 270;
constexpr long kNoCommandFile = 292;
constexpr long kCommandNotSent = 305;
constexpr long kCommandFailed = 327;
constexpr long kCommandTimeout = 345;
constexpr long kStatusNotOpened = 411;
constexpr long kStatusWithoutTimes = 422;
constexpr long kNotForgotten = 430;
// registration
constexpr long kNotRegistered = 520;
constexpr long kAnswerNotReceived = 521;
constexpr long kAnswerNotOpened = 522;
constexpr long kAnswerWithoutId = 523;
constexpr long kEventsFileMissing = 524;
// its thread and its files
constexpr long kOutputDirNotWatched = 600;
constexpr long kOutputDirNotRearmed = 601;
constexpr long kClientEventsNotLocked = 680;
constexpr long kClientEventsNotRead = 681;
constexpr long kClientEventsNotEmptied = 682;
constexpr long kClientEventsNotUnlocked = 683;
constexpr long kClientGroupsNotEmptied = 740;
constexpr long kClientGroupsNotUnlocked = 741;
constexpr long kClientGroupsNotRead = 742;
constexpr long kClientLockResultsNotEmptied = 800;
constexpr long kClientLockResultsNotUnlocked = 801;

} // namespace ReportLines
