#include "platform/ReliableWatch.h"

#include "platform/Os.h"
#include "platform/Path.h"

#include <algorithm>
#include <functional>
#include <utility>

using namespace std::chrono_literals;

namespace platform {
namespace {

constexpr std::chrono::milliseconds kLongest = 1s;
constexpr std::chrono::milliseconds kShortest = 50ms;
constexpr std::chrono::hours kLongestWait{24 * 365};
/// A look at a full directory takes long, and is not to be all that its owner does.
constexpr int kShareOfTime = 20;

/// So that the sum of two states tells which file had which.
std::uint64_t Mixed(std::uint64_t value)
{
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
}

std::uint64_t StateOf(const SFileAttributes& attributes)
{
    return Mixed(static_cast<std::uint64_t>(attributes.times.modified) + Mixed(attributes.length));
}

std::wstring Hexadecimal(const std::array<std::uint8_t, 16>& bytes)
{
    constexpr std::wstring_view digits = L"0123456789abcdef";
    std::wstring text;
    for (const unsigned byte : bytes) {
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    return text;
}

} // namespace

CPollingWatch::CPollingWatch(std::unique_ptr<IDirectoryWatch> told, std::wstring directory, eWatchFilter filter,
                             eProbe probe, std::chrono::milliseconds shortest)
    : m_pTold(std::move(told)),
      m_strDirectory(std::move(directory)),
      m_filter(filter),
      m_probe(probe),
      m_shortest(shortest),
      m_interval(shortest)
{
    LookSoon();
}

eOsError CPollingWatch::Probe(std::uint64_t& state) const
{
    if (m_probe == eProbe_Time) {
        SFileAttributes attributes;
        const eOsError error = Files().GetAttributes(m_strDirectory, attributes);
        state = Mixed(static_cast<std::uint64_t>(attributes.times.modified));
        return error;
    }
    std::uint64_t sum = 0;
    const eOsError error = Files().Visit(m_strDirectory, [&](const SDirectoryEntry& entry) {
        std::uint64_t one = std::hash<std::wstring>{}(entry.name);
        SFileAttributes attributes;
        if (m_filter == eWatchFilter_FileNameAndLastWrite &&
            Succeeded(Files().GetAttributes(JoinPath(m_strDirectory, entry.name), attributes))) {
            one += StateOf(attributes);
        }
        sum += Mixed(one);
        return true;
    });
    state = sum;
    return error;
}

void CPollingWatch::LookSoon()
{
    m_interval = m_shortest;
    m_nextLook = std::max(m_earliestLook, Clock().Steady() + m_interval);
}

void CPollingWatch::Look()
{
    const std::chrono::nanoseconds start = Clock().Steady();
    std::uint64_t state = 0;
    const bool isSeen = Succeeded(Probe(state));
    // One that cannot be looked at is a change, and its owner's look tells why.
    m_hasChanged = !isSeen || state != m_state;
    if (isSeen) {
        m_state = state;
    }
    const std::chrono::nanoseconds end = Clock().Steady();
    const std::chrono::nanoseconds longest = std::max<std::chrono::nanoseconds>(m_shortest, kLongest);
    m_interval = isSeen && m_hasChanged ? m_shortest : std::min(m_interval * 2, longest);
    m_earliestLook = end + (end - start) * kShareOfTime;
    m_nextLook = std::max(m_earliestLook, end + m_interval);
}

eWaitResult CPollingWatch::Wait(std::chrono::milliseconds timeout)
{
    const std::chrono::nanoseconds end = Clock().Steady() + std::min<std::chrono::milliseconds>(timeout, kLongestWait);
    for (;;) {
        const std::chrono::nanoseconds now = Clock().Steady();
        const std::chrono::nanoseconds until = m_hasChanged ? now : std::min(end, m_nextLook);
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::max(until - now, 0ns));
        const eWaitResult told = m_pTold->Wait(left);
        if (told != eWaitResult_Timeout) {
            if (told == eWaitResult_Changed) {
                LookSoon();
            }
            return told;
        }
        if (m_hasChanged) {
            return eWaitResult_Changed;
        }
        if (Clock().Steady() >= m_nextLook) {
            Look();
        } else if (Clock().Steady() >= end) {
            return eWaitResult_Timeout;
        }
    }
}

void CPollingWatch::TakeChange()
{
    // A look now would cost its time with each change; what was told is met by the next one instead.
    m_hasChanged = false;
}

eOsError CPollingWatch::Rearm()
{
    TakeChange();
    return m_pTold->Rearm();
}

eOsError CPollingWatch::RearmNaming(std::vector<std::wstring>& names)
{
    TakeChange();
    return m_pTold->RearmNaming(names);
}

void CPollingWatch::Wake()
{
    m_pTold->Wake();
}

namespace {

/// Has a new watch hear of a file that is made and removed. True, too, when none can be made.
bool TellsChanges(IDirectoryWatch& watch, const std::wstring& directory)
{
    constexpr std::chrono::milliseconds patience = 1s;
    const std::wstring canary = JoinPath(directory, L".zel-canary-" + Hexadecimal(NewUniqueId()));
    std::unique_ptr<IFile> file;
    if (!Succeeded(Files().Open(canary, eOpenMode_CreateExclusive, file))) {
        return true;
    }
    file.reset();
    static_cast<void>(Files().Remove(canary));
    return watch.Wait(patience) == eWaitResult_Changed;
}

std::unique_ptr<IDirectoryWatch> Polling(std::unique_ptr<IDirectoryWatch> told, const std::wstring& directory,
                                         eWatchFilter filter, CPollingWatch::eProbe probe,
                                         std::chrono::milliseconds shortest)
{
    return std::make_unique<CPollingWatch>(std::move(told), directory, filter, probe, shortest);
}

} // namespace

eOsError WatchReliably(const std::wstring& directory, eWatchFilter filter, const SWatchOptions& options,
                       std::unique_ptr<IDirectoryWatch>& watch)
{
    std::unique_ptr<IDirectoryWatch> told;
    if (const eOsError error = Files().Watch(directory, filter, told); !Succeeded(error)) {
        return error;
    }
    if (options.poll > 0ms || (options.isChecked && IsChangedFromOutside(directory))) {
        const auto shortest = options.poll > 0ms ? options.poll : kShortest;
        watch = Polling(std::move(told), directory, filter, CPollingWatch::eProbe_Listing, shortest);
    } else if (options.isChecked) {
        watch = Polling(std::move(told), directory, filter, CPollingWatch::eProbe_Time, kLongest);
    } else {
        watch = std::move(told);
    }
    return eOsError_None;
}

eOsError WatchProven(const std::wstring& directory, eWatchFilter filter, const SWatchOptions& options,
                     std::unique_ptr<IDirectoryWatch>& watch, bool& isDeaf)
{
    isDeaf = false;
    if (options.isChecked && options.poll == 0ms && !IsChangedFromOutside(directory)) {
        std::unique_ptr<IDirectoryWatch> told;
        if (const eOsError error = Files().Watch(directory, filter, told); !Succeeded(error)) {
            return error;
        }
        isDeaf = !TellsChanges(*told, directory);
        watch =
            Polling(std::move(told), directory, filter,
                    isDeaf ? CPollingWatch::eProbe_Listing : CPollingWatch::eProbe_Time, isDeaf ? kShortest : kLongest);
        return eOsError_None;
    }
    return WatchReliably(directory, filter, options, watch);
}

} // namespace platform
