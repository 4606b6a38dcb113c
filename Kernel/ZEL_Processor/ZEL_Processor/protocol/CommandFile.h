#pragma once

#include "ZEL_Processor/ZelProcessorEnums.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/Com.h"

#include <array>
#include <optional>

/// The content of a command file, as a client writes it and a server reads it. A name that XML can't carry, with
/// control characters or bytes that are no text, is escaped in the file.
namespace CommandFile {

/// Those of an operator, that only a server takes whose host wants them (SZelServerOptions::operatorCommands). Their
/// numbers are in no file and in no table of the protocol's.
inline constexpr auto kHoldQueue = static_cast<eCommandType>(1000);
inline constexpr auto kReleaseQueue = static_cast<eCommandType>(1001);
inline constexpr auto kMoveRequest = static_cast<eCommandType>(1002);
inline constexpr auto kDrainServer = static_cast<eCommandType>(1003);
inline constexpr auto kRetryFailed = static_cast<eCommandType>(1004);
inline constexpr auto kDiscardFailed = static_cast<eCommandType>(1005);
inline constexpr std::array kOperatorCommands = {kHoldQueue,   kReleaseQueue, kMoveRequest,
                                                 kDrainServer, kRetryFailed,  kDiscardFailed};

/// The word of a command; null for a type that is none.
[[nodiscard]] const wchar_t* WordOf(eCommandType type);
/// The type of a word in any letter case; eCommandType_NotInitialized for others.
[[nodiscard]] eCommandType TypeOf(const CString& word);

enum eRead {
    eRead_Ok,
    eRead_NoXml,     ///< can't be parsed
    eRead_Incomplete ///< element, type or name is missing
};
/// Of a move.
struct SWhere {
    std::optional<eRequestPlace> place = std::nullopt; ///< none when it does not say
    CString other = {};                                ///< before which one; empty when it names none
};
struct SContent {
    eCommandType type = eCommandType_NotInitialized;
    CString name;   ///< of the request, the registration or the client, or that of the queue's folder; not empty
    CString reason; ///< of eRead_NoXml
    SWhere where = {};
};
/// Needs a thread whose COM is initialised, as does Write.
[[nodiscard]] eRead Read(const CString& path, SContent& content);

/// False when the file can't be saved, or when the DOM can't be made: documentResult is then not S_OK. Throws CComError
/// when the DOM breaks. The type must have a word. saveResult, when given, is what the saving gave.
[[nodiscard]] bool Write(const CString& path, eCommandType type, const CString& name, HRESULT& documentResult,
                         HRESULT* saveResult = nullptr, const SWhere& where = {});

} // namespace CommandFile
