#include "RequestRefusals.h"
#include "RequestQueue.h"
#include "RequestStatuses.h"
#include "ServerSettings.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/SourceLocation.h"
#include "platform/Text.h"
#include "reports/SourceNames.h"
#include "reports/StringCodes.h"

#include <algorithm>
#include <utility>

namespace {

/// Strangers decide how many there are. Those beyond are left alone without a word.
constexpr std::size_t kMaxRefused = 1000;
/// One line tells of all the refusals of this time: who floods the request directory must not flood the log as well.
constexpr std::chrono::minutes kBetweenRefusals{1};

/// On Windows, where a name may mean a device wherever it stands, or lose its end on the way to the file.
bool MeansAnother(const CString& name)
{
    return platform::IsPathSeparator(L'\\') && !platform::IsPlainFileName(name);
}

/// File systems have limits of their own, and all of them this one.
bool IsTooLong(const CString& path)
{
    constexpr std::size_t kMaxNameUnits = 255;
    // Below what any file system of today allows, in bytes: nobody is asked for most names.
    constexpr std::size_t kNameAnywhere = 64;
    constexpr std::size_t kPathAnywhere = 200;
    if (path.size() <= kPathAnywhere && platform::ToUtf8(platform::FileNameOf(path)).size() <= kNameAnywhere)
        return false;
    platform::SFileAttributes attributes;
    return platform::FileNameOf(path).size() > kMaxNameUnits ||
           platform::Files().GetAttributes(path, attributes) == platform::eOsError_NameTooLong;
}

} // namespace

void CRequestRefusals::StartLook()
{
    m_refusedNow.clear();
}

void CRequestRefusals::EndLook()
{
    m_refused = std::move(m_refusedNow);
}

CString CRequestRefusals::WhyRefused(const CString& path, platform::eNameKind kind) const
{
    if (MeansAnother(platform::FileNameOf(path))) // first: already a look would be at the device
        return TextOf(StringCodes::kRefusedName);
    switch (kind == platform::eNameKind_Missing ? platform::NameKind(path) : kind) {
    case platform::eNameKind_Directory: return TextOf(StringCodes::kRefusedDirectory);
    case platform::eNameKind_Other: return TextOf(StringCodes::kRefusedNoFile);
    case platform::eNameKind_Link:
        if (!m_settings.m_options.followLinks)
            return TextOf(StringCodes::kRefusedLink);
        break;
    default: break;
    }
    return IsTooLong(m_settings.m_paths.Status(path)) ? TextOf(StringCodes::kRefusedLongName) : CString();
}

bool CRequestRefusals::RefuseWhatCannotBeServed(const CString& path, platform::eNameKind kind)
{
    if (!m_settings.m_options.tellRefused)
        return false;
    const CString reason = WhyRefused(path, kind);
    if (reason.empty())
        return false;
    const bool isKept = m_refusedNow.size() < kMaxRefused && m_refusedNow.insert(path).second;
    if (isKept && !m_refused.contains(path))
        TellRefused(path, reason);
    return true;
}

void CRequestRefusals::TellRefused(const CString& path, const CString& reason)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     L"Refused: " + path + L": " + reason);
    const CString name = platform::FileNameOf(path);
    // A request of this name may be on its way; the status is that one's. For some names there can be none.
    if (!m_requests.IsKnown(m_settings.m_paths.InQueue(name)) && !IsTooLong(m_settings.m_paths.Status(name)))
        m_statuses.SetRequestStatus(name, m_settings.OwnerOf(path), eRequestStatus_ServerError,
                                    TextOf(StringCodes::kServerError) + reason);
}

void CRequestRefusals::TellRefusal(const CString& text)
{
    ++m_nRefusals;
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    if (m_refusalsTold != std::chrono::nanoseconds::zero() && now - m_refusalsTold < kBetweenRefusals)
        return;
    m_refusalsTold = now;
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     L"Refused (" + std::to_wstring(std::exchange(m_nRefusals, 0)) + L" since the last such line): " +
                         text);
}
