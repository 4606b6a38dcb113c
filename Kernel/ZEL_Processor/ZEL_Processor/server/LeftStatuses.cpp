#include "LeftStatuses.h"

#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/SourceLocation.h"
#include "reports/SourceNames.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::nanoseconds kBetweenTries = 1s;

void Warn(const CString& text)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION, text);
}

template <class Statuses>
auto Find(Statuses& statuses, const CString& path)
{
    return std::find_if(statuses.begin(), statuses.end(), [&](const auto& status) { return status.path == path; });
}

/// Worth another try: the one is let go, the other removed.
bool MayPass(platform::eOsError error)
{
    return error == platform::eOsError_SharingViolation || error == platform::eOsError_LinkInTheWay;
}

} // namespace

void CLeftStatuses::Leave(const CString& path, const std::string& bytes)
{
    if (bytes.size() > kMaxBytes)
        return Warn(L"A status is too long to wait for its file and is lost: " + path);
    const platform::FileOwner* const owner = platform::CPrivateFiles::Current();
    CString lost;
    {
        const std::lock_guard lock(m_cs);
        if (const auto found = Find(m_statuses, path); found != m_statuses.end())
            m_statuses.erase(found);
        m_statuses.push_back({path, bytes, owner ? *owner : platform::FileOwner(), ++m_nNumber});
        if (m_statuses.size() > kMost) {
            lost = m_statuses.front().path;
            m_statuses.pop_front();
        }
    }
    if (!lost.empty())
        Warn(L"Too many status files are kept from being written; this one is given up: " + lost);
}

void CLeftStatuses::Forget(const CString& path)
{
    const std::lock_guard lock(m_cs);
    if (const auto found = Find(m_statuses, path); found != m_statuses.end())
        m_statuses.erase(found);
}

void CLeftStatuses::ForgetAll()
{
    const std::lock_guard lock(m_cs);
    m_statuses.clear();
}

bool CLeftStatuses::IsEmpty() const
{
    const std::lock_guard lock(m_cs);
    return m_statuses.empty();
}

bool CLeftStatuses::NextAfter(std::uint64_t number, SStatus& status) const
{
    const std::lock_guard lock(m_cs);
    const auto found = std::find_if(m_statuses.begin(), m_statuses.end(),
                                    [number](const SStatus& candidate) { return candidate.number > number; });
    if (found == m_statuses.end())
        return false;
    status = *found;
    return true;
}

/// A newer one of the same file stays.
void CLeftStatuses::Erase(const SStatus& status)
{
    const std::lock_guard lock(m_cs);
    const auto found = Find(m_statuses, status.path);
    if (found != m_statuses.end() && found->number == status.number)
        m_statuses.erase(found);
}

void CLeftStatuses::TryAgain()
{
    if (IsEmpty() || platform::Clock().Steady() < m_nextTry)
        return;
    SStatus status;
    for (std::uint64_t last = 0; NextAfter(last, status); last = status.number) {
        const platform::CPrivateFiles files(status.owner);
        const platform::eOsError error = platform::WriteWholeFile(status.path, status.bytes);
        if (MayPass(error))
            continue;
        Erase(status);
        if (!platform::Succeeded(error))
            Warn(L"A status that had to wait for its file is lost: " + status.path + L": " +
                 platform::OsErrorText(error));
    }
    m_nextTry = platform::Clock().Steady() + kBetweenTries;
}
