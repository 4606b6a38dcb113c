#include "ServerState.h"
#include "ZEL_Processor/ZelProcessor.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/SourceLocation.h"
#include "protocol/HeldFile.h"
#include "protocol/ProtocolFiles.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <chrono>

// What strangers put into the request directory beside requests, and how long they are waited for.

namespace {

/// Strangers decide how many there are. Those beyond are left alone without a word.
constexpr std::size_t kMaxRefused = 1000;
constexpr std::chrono::seconds kBriefPatience{1};

/// On Windows, where a name may mean a device wherever it stands, or lose its end on the way to the file.
bool MeansAnother(const CString& name)
{
    return platform::IsPathSeparator(L'\\') && !platform::IsPlainFileName(name);
}

/// File systems have limits of their own, and all of them this one.
bool IsTooLong(const CString& path)
{
    constexpr std::size_t kMaxNameUnits = 255;
    platform::SFileAttributes attributes;
    return platform::FileNameOf(path).size() > kMaxNameUnits ||
           platform::Files().GetAttributes(path, attributes) == platform::eOsError_NameTooLong;
}

} // namespace

/// The reason for which nothing of this name is taken; empty when there is none, or the file has gone.
CString CServerState::WhyRefused(const CString& path) const
{
    if (MeansAnother(platform::FileNameOf(path))) // first: already a look would be at the device
        return TextOf(StringCodes::kRefusedName);
    switch (platform::NameKind(path)) {
    case platform::eNameKind_Directory: return TextOf(StringCodes::kRefusedDirectory);
    case platform::eNameKind_Other: return TextOf(StringCodes::kRefusedNoFile);
    case platform::eNameKind_Link:
        if (!m_options.followLinks)
            return TextOf(StringCodes::kRefusedLink);
        break;
    default: break;
    }
    return IsTooLong(m_pProcessor->GetOutputStatusFilePath(path)) ? TextOf(StringCodes::kRefusedLongName) : CString();
}

bool CServerState::RefuseWhatCannotBeServed(const CString& path, std::set<CString>& refused)
{
    if (!m_options.tellRefused)
        return false;
    const CString reason = WhyRefused(path);
    if (reason.empty())
        return false;
    const bool isKept = refused.size() < kMaxRefused && refused.insert(path).second;
    if (isKept && !m_refused.contains(path))
        TellRefused(path, reason);
    return true;
}

void CServerState::TellRefused(const CString& path, const CString& reason)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     L"Refused: " + path + L": " + reason);
    const CString name = platform::FileNameOf(path);
    // A request of this name may be on its way; the status is that one's. For some names there can be none.
    if (!IsKnown(name) && !IsTooLong(m_pProcessor->GetOutputStatusFilePath(name)))
        SetRequestStatus(name, OwnerOf(path), eRequestStatus_ServerError, TextOf(StringCodes::kServerError) + reason);
}

bool CServerState::IsKnown(const CString& name) const
{
    const std::lock_guard lock(m_cs);
    return IsRequestInQueue(name) || IsRequestPaused(name) || m_strRunning == GetFileInQueueFullPath(name);
}

/// Moves a file of the request directory into the queue as soon as nobody has it open. Looked at only there, where
/// nobody else can put another in its place: a link that is not to be followed is deleted, as any failed request is.
CServerState::eTaken CServerState::TakeIntoQueue(const CString& path, const CString& target)
{
    const platform::eOsError error = Protocol::MoveWhenFree(
        path, target, MoveFlags(), HeldFile::WithWarning(path, [this] { return MayWaitForHolder(); }));
    if (error == platform::eOsError_SharingViolation) {
        m_bHeld = true;
        m_pPassedOver->Meet(path);
        return eTaken_Held;
    }
    if (!platform::HasMoved(error))
        return eTaken_No;
    if (m_options.followLinks || platform::NameKind(target) != platform::eNameKind_Link)
        return eTaken_Yes;
    static_cast<void>(platform::Files().Remove(target));
    TellRefused(path, TextOf(StringCodes::kRefusedLink));
    return eTaken_Refused;
}

/// For the listener when it waits for a file of the output directory: until the server stops, or the host's patience
/// ends.
std::function<bool()> CServerState::Patience()
{
    const std::chrono::nanoseconds end = platform::Clock().Steady() + std::chrono::milliseconds(m_options.patienceMs);
    return [this, end] {
        ++m_nListenerTurns;
        return m_bRunning && (m_options.patienceMs == 0 || platform::Clock().Steady() < end);
    };
}

/// The same for what only tidies up, and has an end in any case.
std::function<bool()> CServerState::BriefPatience() const
{
    const std::chrono::nanoseconds patience =
        m_options.patienceMs == 0 ? kBriefPatience : std::chrono::milliseconds(m_options.patienceMs);
    const std::chrono::nanoseconds end = platform::Clock().Steady() + patience;
    return [end] { return platform::Clock().Steady() < end; };
}
