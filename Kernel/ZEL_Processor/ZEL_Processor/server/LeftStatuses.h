#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "platform/FileSystem.h"
#include "platform/Mutex.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

/// Last statuses that could not be written, because somebody kept the file open or a link was in the way, or for
/// whatever reason. They are tried again until they are there: who waits for the end of a request is told of it, and
/// nobody else waits. Each is written as it would have been by who left it: for whom the files of his thread were
/// private then.
/// Safe from any thread. The listener tries and so does who runs requests: a task may take hours, and the listener may
/// wait for whom a command belongs to.
class CLeftStatuses {
public:
    /// Strangers decide how many there are: beyond this the oldest goes, with a warning.
    static constexpr std::size_t kMost = 1000;
    /// A longer one is not kept.
    static constexpr std::size_t kMaxBytes = std::size_t{64} << 10;

    /// Between two tries of a status that somebody holds, at first; later a tenth of the time that he has held it.
    static constexpr std::chrono::milliseconds kShortestPause{100};
    static constexpr std::chrono::seconds kLongestHeldPause{1};
    /// The longest pause between two tries of a status that nothing but a failing system keeps from being written.
    static constexpr std::chrono::seconds kLongestPause{64};

    /// Worth another try in any case: the one is let go, the other removed.
    [[nodiscard]] static bool MayPass(platform::eOsError error)
    {
        return error == platform::eOsError_SharingViolation || error == platform::eOsError_LinkInTheWay;
    }

    /// isInsisted: a try that fails for another reason is not the last; the pauses grow.
    void Leave(const CString& path, const std::string& bytes, bool isInsisted = false);
    /// Another status is about to be written, or the file to be removed. A try of it that is under way is waited for,
    /// or an older status would be written over the last one: it is one write, which waits for nobody. For a second: a
    /// device that hangs is waited for by others.
    void Forget(const CString& path);
    void ForgetAll();
    [[nodiscard]] bool IsEmpty() const;
    /// Of the files, in the order in which they were left.
    [[nodiscard]] std::vector<CString> Paths() const;

    /// One try for each that is due, and by one thread at a time: the others go on at once.
    void TryAgain();
    /// How long until TryAgain has something to do, or a second.
    [[nodiscard]] std::chrono::milliseconds UntilNextTry() const;
    /// At the end of a server, when no other thread tries: those that somebody's hold keeps from being written again
    /// and again, the others once, and all of it for a second at most.
    void TryToTheLast();

private:
    struct SStatus {
        CString path;
        std::string bytes;
        platform::FileOwner owner; ///< empty: for everybody
        std::uint64_t number = 0;  ///< the higher, the newer
        bool isInsisted = false;
        std::chrono::nanoseconds left{0};
        std::chrono::nanoseconds pause{0};   ///< after the try that failed
        std::chrono::nanoseconds nextTry{0}; ///< not before
    };

    /// The first that is due then.
    [[nodiscard]] bool BeginTryAfter(std::uint64_t number, std::chrono::nanoseconds now, SStatus& status);
    void Erase(const SStatus& status);
    [[nodiscard]] platform::eOsError Try(const SStatus& status);
    void PutOff(const SStatus& status, std::chrono::nanoseconds pause);
    /// Those that are due then. Whether any is left that may pass.
    bool TryAll(std::chrono::nanoseconds now, std::chrono::nanoseconds end, bool isLast = false);

    mutable platform::CMutex m_cs;
    CString m_strTried ZEL_GUARDED_BY(m_cs);             ///< what a thread writes just now
    std::deque<SStatus> m_statuses ZEL_GUARDED_BY(m_cs); ///< oldest first
    std::uint64_t m_nNumber ZEL_GUARDED_BY(m_cs) = 0;
    std::chrono::nanoseconds m_nextTry ZEL_GUARDED_BY(m_cs){0}; ///< never while a thread tries
};
