#include "LeftStatuses.h"

#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/PrivateFiles.h"
#include "platform/SourceLocation.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <iterator>
#include <memory>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::nanoseconds kFirstPause = 1s; // where the system fails
constexpr std::chrono::nanoseconds kNever = std::chrono::nanoseconds::max();
/// Who reads a status has it for microseconds, and who waits for the end of a server shall not wait for strangers.
constexpr std::chrono::nanoseconds kLastPatience = 1s;
constexpr std::chrono::milliseconds kLastPause = 10ms;

void Warn(const CString& text)
{
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION, text);
}

/// The first tries come soon, for most reasons pass soon; later ones cost next to nothing. A client that looks every
/// 10 ms, on a machine with nothing to spare, has his file open most of the time, and gives up after ten seconds: one
/// of many tries, each at another moment, meets him when he is away.
std::chrono::nanoseconds HeldPause(std::chrono::nanoseconds age)
{
    return std::clamp<std::chrono::nanoseconds>(age / 10, CLeftStatuses::kShortestPause,
                                                CLeftStatuses::kLongestHeldPause);
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
        m_statuses.push_back(
            {path, bytes, owner ? *owner : platform::FileOwner(), ++m_nNumber, isInsisted, platform::Clock().Steady()});
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
    for (const std::chrono::nanoseconds end = platform::Clock().Steady() + kLastPatience;;
         platform::Clock().YieldThread()) {
        const platform::CMutexLock lock(m_cs);
        if (const auto found = Find(m_statuses, path); found != m_statuses.end())
            m_statuses.erase(found);
        if (m_strTried != path || platform::Clock().Steady() >= end)
            return;
    }
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

bool CLeftStatuses::BeginTryAfter(std::uint64_t number, std::chrono::nanoseconds now, SStatus& status)
{
    const platform::CMutexLock lock(m_cs);
    const auto found = std::ranges::find_if(
        m_statuses, [&](const SStatus& candidate) { return candidate.number > number && candidate.nextTry <= now; });
    if (found == m_statuses.end())
        return false;
    status = *found;
    m_strTried = status.path;
    return true;
}

platform::eOsError CLeftStatuses::Try(const SStatus& status)
{
    // However it ends, or who forgets the status would wait for it in vain.
    const auto end = [](CLeftStatuses* statuses) {
        const platform::CMutexLock lock(statuses->m_cs);
        statuses->m_strTried.clear();
    };
    const std::unique_ptr<CLeftStatuses, decltype(end)> tried(this, end);
    return platform::WriteWholeFile(status.path, status.bytes);
}

/// A newer one of the same file stays.
void CLeftStatuses::Erase(const SStatus& status)
{
    const platform::CMutexLock lock(m_cs);
    const auto found = Find(m_statuses, status.path);
    if (found != m_statuses.end() && found->number == status.number)
        m_statuses.erase(found);
}

void CLeftStatuses::PutOff(const SStatus& status, std::chrono::nanoseconds pause)
{
    const platform::CMutexLock lock(m_cs);
    const auto found = Find(m_statuses, status.path);
    if (found == m_statuses.end() || found->number != status.number)
        return;
    found->pause = pause;
    found->nextTry = platform::Clock().Steady() + pause;
}

void CLeftStatuses::TryAgain()
{
    if (IsEmpty())
        return; // as at nearly every turn: nobody's clock is asked for it
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    {
        const platform::CMutexLock lock(m_cs);
        if (m_statuses.empty() || now < m_nextTry)
            return;
        m_nextTry = kNever;
    }
    static_cast<void>(TryAll(now, kNever));
    const std::chrono::nanoseconds next = platform::Clock().Steady() + kShortestPause;
    const platform::CMutexLock lock(m_cs);
    m_nextTry = next;
}

std::chrono::milliseconds CLeftStatuses::UntilNextTry() const
{
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    const platform::CMutexLock lock(m_cs);
    std::chrono::nanoseconds next = kNever;
    for (const SStatus& status : m_statuses)
        next = std::min(next, std::max(status.nextTry, m_nextTry));
    return std::chrono::ceil<std::chrono::milliseconds>(
        std::clamp<std::chrono::nanoseconds>(next - now, 0s, kLongestHeldPause));
}

void CLeftStatuses::TryToTheLast()
{
    const std::chrono::nanoseconds end = platform::Clock().Steady() + kLastPatience;
    // What failed for another reason than a hold is put off beyond the end by the first of these.
    for (bool mayAnyPass = TryAll(kNever, end, true); mayAnyPass && platform::Clock().Steady() < end;) {
        platform::Clock().SleepFor(kLastPause);
        mayAnyPass = TryAll(platform::Clock().Steady(), end, true);
    }
}

bool CLeftStatuses::TryAll(std::chrono::nanoseconds now, std::chrono::nanoseconds end, bool isLast)
{
    bool mayAnyPass = false;
    SStatus status;
    for (std::uint64_t last = 0; platform::Clock().Steady() < end && BeginTryAfter(last, now, status);
         last = status.number) {
        const platform::CPrivateFiles files(status.owner);
        const platform::eOsError error = Try(status);
        if (MayPass(error)) {
            mayAnyPass = true;
            PutOff(status, isLast ? 0ns : HeldPause(platform::Clock().Steady() - status.left));
        } else if (status.isInsisted && !platform::Succeeded(error)) {
            PutOff(status, std::clamp<std::chrono::nanoseconds>(2 * status.pause, kFirstPause, kLongestPause));
        } else {
            Erase(status);
            if (!platform::Succeeded(error))
                Warn(L"A status that had to wait for its file is lost: " + status.path + L": " +
                     platform::OsErrorText(error));
        }
    }
    return mayAnyPass;
}
