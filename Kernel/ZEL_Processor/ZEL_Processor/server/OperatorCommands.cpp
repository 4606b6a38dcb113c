#include "OperatorCommands.h"
#include "RequestQueue.h"
#include "RequestStatuses.h"
#include "ServerSettings.h"
#include "Story.h"
#include "ZEL_Processor/ZelProcessorEnums.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Text.h"
#include "protocol/CommandFile.h"
#include "protocol/HandOver.h"
#include "protocol/StatusFileText.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

namespace {

/// A longer status is none of a server's.
constexpr std::size_t kMaxStatusBytes = std::size_t{1} << 20;

} // namespace

bool COperatorCommands::IsOne(eCommandType type)
{
    return std::ranges::find(CommandFile::kOperatorCommands, type) != CommandFile::kOperatorCommands.end();
}

bool COperatorCommands::Takes(const SZelServerOptions& options, eCommandType type)
{
    return options.operatorCommands && (type != CommandFile::kDrainServer || options.drained != nullptr);
}

void COperatorCommands::ForgetDrain(const CServerSettings& settings)
{
    if (settings.m_options.operatorCommands)
        static_cast<void>(platform::Files().Remove(settings.m_paths.InOwnFolder(Protocol::kDrainingFile)));
}

CString COperatorCommands::CarryOut(const CommandFile::SContent& command, const CString& path)
{
    if (!m_settings.IsOperators(path))
        return TextOf(StringCodes::kOperatorsOnly);
    if (command.type == CommandFile::kMoveRequest)
        return Move(command.name, command.where);
    if (command.type == CommandFile::kRetryFailed)
        return Retry(command.name);
    if (command.type == CommandFile::kDiscardFailed)
        return Discard(command.name);
    if (command.type == CommandFile::kDrainServer) {
        Drain();
        return {};
    }
    const platform::eOsError error = command.type == CommandFile::kHoldQueue ? m_hold.Hold() : m_hold.Release();
    if (platform::Succeeded(error))
        return {};
    return TextOf(StringCodes::kServerError) + m_settings.m_paths.InOwnFolder(Protocol::kHeldFile) + L": " +
           platform::OsErrorText(error);
}

void COperatorCommands::Drain()
{
    if (m_requests.IsDraining())
        return;
    // What waits is lost with the next start, unless that takes it over; without an executive it would wait for ever.
    m_requests.Drain(!m_settings.m_options.resume && !m_settings.m_bNoExecutiveThread);
    // For whoever starts beside it, who can do without. Another process does not drain because of it.
    static_cast<void>(platform::WriteWholeFile(m_settings.m_paths.InOwnFolder(Protocol::kDrainingFile),
                                               std::to_string(platform::CurrentProcessId())));
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Info, ZEL_SOURCE_LOCATION,
                     L"The server takes nothing more, and ends when what it has to run has ended");
}

/// The file is moved first, and what is told of it removed last: killed in between, a start that takes over what lies
/// there finds an end that is older than the file, which waits then.
CString COperatorCommands::Retry(const CString& name)
{
    if (m_requests.IsDraining())
        return TextOf(StringCodes::kServerDrains);
    const CString queued = m_settings.m_paths.InQueue(name);
    if (m_requests.IsKnown(queued) || platform::PathExists(m_settings.m_paths.InRequestDir(name)) || HasOtherEnd(name))
        return FormatText(TextOf(StringCodes::kNameInUse), {name});
    const platform::eOsError error = m_failed.PutIntoQueue(name);
    if (!platform::HasMoved(error))
        return error == platform::eOsError_AlreadyExists ? FormatText(TextOf(StringCodes::kNameInUse), {name})
                                                         : Failure(name, error);
    m_statuses.RemoveStatus(name);
    m_failed.Forgive(name);
    TSRequestItem item = m_settings.ItemOf(queued);
    if (m_settings.m_options.tellStory)
        Story::TellReceived(item.m_strFile);
    m_requests.Add(std::move(item));
    return {};
}

/// Whether one that was sent under this name after the failure has ended otherwise, and nobody has taken that yet: the
/// next run would delete it. What lies beside the status of a failure is no answer.
bool COperatorCommands::HasOtherEnd(const CString& name) const
{
    std::string bytes;
    std::int32_t status = eRequestStatus_NotIntialized;
    const platform::eOsError error = Protocol::RetryWhileShared(
        [&] {
            return platform::ReadWholeFile(m_settings.m_paths.Status(name), platform::eOpenMode_ReadExclusive, bytes,
                                           kMaxStatusBytes);
        },
        m_settings.BriefPatience());
    const bool isTold = platform::Succeeded(error) && StatusFileText::FindStatus(platform::FromUtf16Le(bytes), status);
    if (isTold && (status == eRequestStatus_Done || status == eRequestStatus_Canceled))
        return true;
    return status != eRequestStatus_ServerError && platform::PathExists(m_settings.m_paths.Output(name));
}

CString COperatorCommands::Discard(const CString& name)
{
    const platform::eOsError error = m_failed.Discard(name);
    return platform::Succeeded(error) ? CString() : Failure(name, error);
}

CString COperatorCommands::Failure(const CString& name, platform::eOsError error) const
{
    if (platform::IsAbsent(error))
        return FormatText(TextOf(StringCodes::kNotKept), {name});
    return TextOf(StringCodes::kServerError) + FailedRecord::FolderIn(m_settings.m_paths.m_strOutputDir) + L": " +
           name + L": " + platform::OsErrorText(error);
}

CString COperatorCommands::Move(const CString& name, const CommandFile::SWhere& where)
{
    if (!where.place || (where.place == eRequestPlace_Before && where.other.empty()))
        return TextOf(StringCodes::kMoveToNowhere);
    const SProtocolPaths& paths = m_settings.m_paths;
    switch (m_requests.Move(paths.InQueue(name), *where.place, paths.InQueue(where.other))) {
    case CTurnList::eMoved_NotThere: return FormatText(TextOf(StringCodes::kDoesNotWait), {name});
    case CTurnList::eMoved_NoOther: return FormatText(TextOf(StringCodes::kDoesNotWait), {where.other});
    case CTurnList::eMoved_OtherTurn: return FormatText(TextOf(StringCodes::kOfAnotherTurn), {name, where.other});
    case CTurnList::eMoved_Yes: break;
    }
    return {};
}
