#include "platform/posix/DirectoryWatch.h"

#include "platform/Text.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/SystemError.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace platform::posix {
namespace {

std::uint32_t EventMask(eWatchFilter filter)
{
    constexpr std::uint32_t gone = IN_DELETE | IN_MOVED_FROM;
    constexpr std::uint32_t names = gone | IN_CREATE | IN_MOVED_TO;
    constexpr std::uint32_t always = IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_EXCL_UNLINK;
    constexpr std::uint32_t contents = IN_MODIFY | IN_CLOSE_WRITE;
    switch (filter) {
    case eWatchFilter_FileNameGone: return always | gone;
    case eWatchFilter_FileNameAndLastWrite: return always | names | contents;
    case eWatchFilter_FileNameAndClosed: return always | names | IN_CLOSE_WRITE;
    default: return always | names;
    }
}

/// What poll takes: a negative number waits for ever.
int PollTime(std::chrono::milliseconds timeout)
{
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(timeout.count(), 0, INT_MAX));
}

/// The table of watches has a limit for each user, which is told as a full volume.
eOsError WatchError(int error, const char* directory)
{
    return error == ENOSPC ? eOsError_TooManyWatches : DirectoryError(error, directory);
}

/// So have queues of events, which is told as too many open files of this process: it is not when another can be had.
eOsError QueueError(int error)
{
    const bool isLimitOfQueues = error == EMFILE && CDescriptor(eventfd(0, EFD_CLOEXEC));
    return isLimitOfQueues ? eOsError_TooManyWatches : FromErrno(error);
}

/// Events are only counted as "something happened", not looked at unless names are asked for: unread ones keep the
/// descriptor readable, which is the change that stays signalled; a queue that overflowed is readable, too.
class CDirectoryWatch final : public IDirectoryWatch {
public:
    CDirectoryWatch(CNativePath directory, std::uint32_t mask, CDescriptor events, CDescriptor wake)
        : m_directory(std::move(directory)), m_mask(mask), m_events(std::move(events)), m_wake(std::move(wake))
    {}

    eWaitResult Wait(std::chrono::milliseconds timeout) override
    {
        std::array<pollfd, 2> waits = {{{m_wake.Get(), POLLIN, 0}, {m_events.Get(), POLLIN, 0}}};
        if (!IsWatching()) {
            // Nothing is watched, so no change can come; a wake-up that is there already still counts.
            timeout = std::chrono::milliseconds::zero();
        }
        const int ready = PollUntil(waits, std::chrono::steady_clock::now() + std::min(timeout, kLongestWait));
        if (ready < 0) {
            return eWaitResult_Failed;
        }
        if ((waits[0].revents & POLLIN) != 0) {
            std::uint64_t count = 0;
            static_cast<void>(::read(m_wake.Get(), &count, sizeof count) == sizeof count);
            return eWaitResult_Woken;
        }
        if (!IsWatching()) {
            return eWaitResult_Failed;
        }
        return ready > 0 ? eWaitResult_Changed : eWaitResult_Timeout;
    }

    eOsError Rearm() override { return Rearm(nullptr); }

    eOsError RearmNaming(std::vector<std::wstring>& names) override
    {
        names.clear();
        return Rearm(&names);
    }

    void Wake() override
    {
        const int saved = errno; // a signal handler may be calling
        const std::uint64_t one = 1;
        static_cast<void>(::write(m_wake.Get(), &one, sizeof one) == sizeof one);
        errno = saved;
    }

private:
    static constexpr std::chrono::milliseconds kLongestWait = std::chrono::hours(24 * 365);

    [[nodiscard]] bool IsWatching() const { return m_id >= 0; }

    eOsError Rearm(std::vector<std::wstring>* names)
    {
        Drain(names);
        // Adding again gives the same number while the path still names the watched directory, and another one when it
        // was deleted, moved away or replaced, at whatever height of the path. It is the only call that tells all of
        // these.
        const int id = inotify_add_watch(m_events.Get(), m_directory.c_str(), m_mask);
        const auto error = id >= 0 ? eOsError_None : WatchError(errno, m_directory.c_str());
        if (m_id >= 0 && m_id != id) {
            inotify_rm_watch(m_events.Get(), m_id); // fails when the directory is gone, and the watch with it
        }
        m_id = id;
        return error;
    }

    static int PollUntil(std::array<pollfd, 2>& waits, std::chrono::steady_clock::time_point end)
    {
        for (;;) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
            const int ready = poll(waits.data(), waits.size(), PollTime(left));
            if (ready > 0 || (ready == 0 && left.count() <= INT_MAX) || (ready < 0 && errno != EINTR)) {
                return ready;
            }
        }
    }

    void Drain(std::vector<std::wstring>* names)
    {
        // Bounded, for somebody may make events as fast as they are read. What is left signals again, after the scan.
        constexpr int maxReads = 64;
        for (int i = 0; i < maxReads; ++i) {
            const ssize_t got = ::read(m_events.Get(), m_buffer.data(), m_buffer.size());
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (names != nullptr && got > 0) {
                AddNames(static_cast<std::size_t>(got), *names);
            }
            // With room for one more event left, there was none.
            if (got < 0 || m_buffer.size() - static_cast<std::size_t>(got) > sizeof(inotify_event) + NAME_MAX + 1) {
                return;
            }
        }
    }

    /// Of the events that a read has put into the buffer.
    void AddNames(std::size_t size, std::vector<std::wstring>& names) const
    {
        for (std::size_t at = 0; at + sizeof(inotify_event) <= size && names.size() < kMostNames;) {
            inotify_event event = {};
            std::memcpy(&event, m_buffer.data() + at, sizeof event);
            if ((event.mask & (IN_CLOSE_WRITE | IN_MOVED_TO)) != 0 && event.len > 0) {
                names.push_back(FromUtf8(m_buffer.data() + at + sizeof event));
            }
            at += sizeof event + event.len;
        }
    }

    const CNativePath m_directory;
    const std::uint32_t m_mask;
    const CDescriptor m_events;
    const CDescriptor m_wake;
    int m_id = -1; // of the watch; negative while the directory is gone
    alignas(inotify_event) std::array<char, 16 * 1024> m_buffer;
};

} // namespace

eOsError WatchDirectory(CNativePath directory, eWatchFilter filter, std::unique_ptr<IDirectoryWatch>& watch)
{
    CDescriptor events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!events) {
        return QueueError(errno);
    }
    CDescriptor wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!wake) {
        return LastOsError();
    }
    auto made =
        std::make_unique<CDirectoryWatch>(std::move(directory), EventMask(filter), std::move(events), std::move(wake));
    const auto error = made->Rearm();
    if (error == eOsError_None) {
        watch = std::move(made);
    }
    return error;
}

} // namespace platform::posix
