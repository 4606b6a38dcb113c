#include "LeftStatuses.h"

#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/PrivateFiles.h"
#include "platform/SourceLocation.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <iterator>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::nanoseconds kBetweenTries = 1s;
/// Who reads a status has it for microseconds, and who waits for the end of a server shall not wait for strangers.
constexpr std::chrono::nanoseconds kLastPatience = 1s;
constexpr std::chrono::milliseconds kLastPause = 10ms;

void Warn(const CString& text)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION, text);
}

template <class Statuses>
auto Find(Statuses& statuses, const CString& path)
{
    return std::find_if(statuses.begin(), statuses.end(), [&](const auto& status) { return status.path == path; });
}

} // namespace

void CLeftStatuses::Leave(const CString& path, const std::string& bytes, bool isInsisted)
{
    if (bytes.size() > kMaxBytes)
        return Warn(L"A status is too long to wait for its file and is lost: " + path);
    const platform::FileOwner* const owner = platform::CPrivateFiles::Current();
    CString lost;
    {
        const platform::CMutexLock lock(m_cs);
        if (const auto found = Find(m_statuses, path); found != m_statuses.end())
            m_statuses.erase(found);
        m_statuses.push_back({path, bytes, owner ? *owner : platform::FileOwner(), ++m_nNumber, isInsisted});
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
    const platform::CMutexLock lock(m_cs);
    if (const auto found = Find(m_statuses, path); found != m_statuses.end())
        m_statuses.erase(found);
}

void CLeftStatuses::ForgetAll()
{
    const platform::CMutexLock lock(m_cs);
    m_statuses.clear();
}

bool CLeftStatuses::IsEmpty() const
{
    const platform::CMutexLock lock(m_cs);
    return m_statuses.empty();
}

std::vector<CString> CLeftStatuses::Paths() const
{
    const platform::CMutexLock lock(m_cs);
    std::vector<CString> paths;
    std::ranges::transform(m_statuses, std::back_inserter(paths), &SStatus::path);
    return paths;
}

bool CLeftStatuses::NextAfter(std::uint64_t number, SStatus& status) const
{
    const platform::CMutexLock lock(m_cs);
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
    const platform::CMutexLock lock(m_cs);
    const auto found = Find(m_statuses, status.path);
    if (found != m_statuses.end() && found->number == status.number)
        m_statuses.erase(found);
}

/// The first tries come soon, for most reasons pass soon; later ones cost next to nothing.
void CLeftStatuses::PutOff(const SStatus& status)
{
    const platform::CMutexLock lock(m_cs);
    const auto found = Find(m_statuses, status.path);
    if (found == m_statuses.end() || found->number != status.number)
        return;
    found->pause = std::clamp<std::chrono::nanoseconds>(2 * found->pause, kBetweenTries, kLongestPause);
    found->nextTry = platform::Clock().Steady() + found->pause;
}

void CLeftStatuses::TryAgain()
{
    if (IsEmpty())
        return; // as at nearly every turn: nobody's clock is asked for it
    constexpr auto never = std::chrono::nanoseconds::max();
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    {
        const platform::CMutexLock lock(m_cs);
        if (m_statuses.empty() || now < m_nextTry)
            return;
        m_nextTry = never;
    }
    static_cast<void>(TryAll(now, never));
    const std::chrono::nanoseconds next = platform::Clock().Steady() + kBetweenTries;
    const platform::CMutexLock lock(m_cs);
    m_nextTry = next;
}

void CLeftStatuses::TryToTheLast()
{
    constexpr auto always = std::chrono::nanoseconds::max();
    const std::chrono::nanoseconds end = platform::Clock().Steady() + kLastPatience;
    // What failed for another reason than a hold is put off beyond the end by the first of these.
    for (bool mayAnyPass = TryAll(always, end); mayAnyPass && platform::Clock().Steady() < end;) {
        platform::Clock().SleepFor(kLastPause);
        mayAnyPass = TryAll(platform::Clock().Steady(), end);
    }
}

bool CLeftStatuses::TryAll(std::chrono::nanoseconds now, std::chrono::nanoseconds end)
{
    bool mayAnyPass = false;
    SStatus status;
    for (std::uint64_t last = 0; NextAfter(last, status) && platform::Clock().Steady() < end; last = status.number) {
        if (now < status.nextTry)
            continue;
        const platform::CPrivateFiles files(status.owner);
        const platform::eOsError error = platform::WriteWholeFile(status.path, status.bytes);
        mayAnyPass = mayAnyPass || MayPass(error);
        if (MayPass(error))
            continue;
        if (status.isInsisted && !platform::Succeeded(error)) {
            PutOff(status);
            continue;
        }
        Erase(status);
        if (!platform::Succeeded(error))
            Warn(L"A status that had to wait for its file is lost: " + status.path + L": " +
                 platform::OsErrorText(error));
    }
    return mayAnyPass;
}
