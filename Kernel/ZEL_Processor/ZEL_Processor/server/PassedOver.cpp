#include "PassedOver.h"

#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/SourceLocation.h"
#include "protocol/HeldFile.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <functional>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::nanoseconds kShortestPause = 10ms;
constexpr std::chrono::nanoseconds kLongestPause = 1s;
/// Between looks that nothing but held files asks for, for each of them: fifty times what a look costs for each.
constexpr std::chrono::nanoseconds kPauseForEach = 50us;
/// A try takes some 5 microseconds; this is what all of them together may take of the time, a hundredth.
constexpr std::chrono::nanoseconds kTimeForATry = 500us;
constexpr std::chrono::nanoseconds kPauseWhenFull = 200ms;
/// So often who holds a file can be found out, and one line is written.
constexpr std::chrono::nanoseconds kBetweenTellings = 5s;

} // namespace

std::size_t CPassedOver::KeyOf(const CString& path)
{
    return std::hash<CString>{}(platform::FileNameOf(path));
}

bool CPassedOver::IsToBeLeft(const CString& name)
{
    if (IsEmpty())
        return false;
    const auto found = m_files.find(KeyOf(name));
    if (found == m_files.end())
        return false;
    SFile& file = found->second;
    file.isSeen = true;
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    if (now < file.NextTry())
        return true;
    if (!file.isClosed) {
        if (file.NextTry() > m_latestTry || !TakeTry(now))
            return true;
        file.pause = std::min(file.pause * 2, kLongestPause);
    }
    file.tried = now;
    return false;
}

/// One is there again after each kTimeForATry.
bool CPassedOver::TakeTry(std::chrono::nanoseconds now)
{
    m_triesUsed = std::max(m_triesUsed, now - kTimeForATry * kTriesOfALook);
    const bool isLeft = m_triesUsed + kTimeForATry <= now;
    if (isLeft)
        m_triesUsed += kTimeForATry;
    return isLeft;
}

bool CPassedOver::IsNews(const CString& path) const
{
    const auto found = IsEmpty() ? m_files.end() : m_files.find(KeyOf(path));
    return found == m_files.end() || found->second.isClosed;
}

void CPassedOver::Meet(const CString& path)
{
    const std::size_t key = KeyOf(path);
    if (m_files.size() >= kMost && !m_files.contains(key)) {
        m_isMore = true;
        return;
    }
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    const auto [entry, isNew] = m_files.try_emplace(key, SFile{now, now, kShortestPause, kShortestPause});
    entry->second.isClosed = false;
    Tell(entry->second, path, now);
}

/// The first of several that are held says so for all: a stranger may hold any number.
void CPassedOver::Tell(SFile& file, const CString& path, std::chrono::nanoseconds now)
{
    if (file.isTold || m_warnAfter == 0ms || now - file.since < m_warnAfter || now < m_nextTelling)
        return;
    file.isTold = true;
    m_nextTelling = now + kBetweenTellings;
    Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                     HeldFile::Describe(path) + L"; it is taken when he lets go");
}

void CPassedOver::Forget(const CString& path)
{
    if (!IsEmpty())
        m_files.erase(KeyOf(path));
}

void CPassedOver::EndLook()
{
    m_isFull = std::exchange(m_isMore, false);
    if (IsEmpty())
        return;
    std::erase_if(m_files, [](const auto& entry) { return !entry.second.isSeen; });
    std::vector<std::chrono::nanoseconds> times;
    times.reserve(m_files.size());
    for (auto& [key, file] : m_files) {
        file.isSeen = false;
        times.push_back(file.NextTry());
    }
    m_latestTry = std::chrono::nanoseconds::max();
    if (times.size() > kTriesOfALook) {
        std::ranges::nth_element(times, times.begin() + kTriesOfALook - 1);
        m_latestTry = times[kTriesOfALook - 1];
    }
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    m_nextLook = times.empty() ? now : *std::ranges::min_element(times);
    m_nextLook = std::max(m_nextLook, now + kPauseForEach * static_cast<std::int64_t>(times.size()));
    if (m_isFull)
        m_nextLook = std::min(m_nextLook, now + kPauseWhenFull);
}

/// What a try itself closes is told as well where the server may write a file and not read it, so a close is followed
/// by a try the later the more of them there were.
void CPassedOver::AddClosed(const std::vector<CString>& names)
{
    for (const CString& name : names) {
        const auto found = m_files.find(KeyOf(name));
        if (found == m_files.end() || found->second.isClosed)
            continue;
        SFile& file = found->second;
        file.isClosed = true;
        file.pause = file.closePause;
        file.closePause = std::min(file.closePause * 2, kLongestPause);
    }
}

std::chrono::nanoseconds CPassedOver::UntilNextLook() const
{
    if (IsEmpty() && !m_isFull)
        return std::chrono::hours(24 * 365);
    return std::max(m_nextLook - platform::Clock().Steady(), 0ns);
}
