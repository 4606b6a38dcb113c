#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <chrono>
#include <cstddef>
#include <unordered_map>
#include <vector>

/// The files of the request directory that were passed over because somebody has them open, and when each is tried
/// again: 10 ms after it was met, then ever less often, once a second in the end; at once when the system tells that
/// its writer closed it. Keeps no names, only their hashes: two names with the same one share their tries. For one
/// thread.
class CPassedOver {
public:
    /// Strangers decide how many there are. Those beyond are tried by every look.
    static constexpr std::size_t kMost = std::size_t{1} << 17U;
    /// Of those whose time has come, so many at most are tried by one look: some milliseconds.
    static constexpr int kTriesOfALook = 500;

    /// A file that is held for longer than this is told to the log, once. 0: none is.
    explicit CPassedOver(const std::chrono::milliseconds& warnAfter) : m_warnAfter(warnAfter) {}

    /// For each file of a look: true while its time has not come. Else it counts as tried.
    [[nodiscard]] bool IsToBeLeft(const CString& name);
    /// True when it was not met before, or closed since: who holds it is likely to let go.
    [[nodiscard]] bool IsNews(const CString& path) const;
    /// It was tried and is held.
    void Meet(const CString& path);
    /// It was tried and is not held any more.
    void Forget(const CString& path);
    void Clear() { m_files.clear(); }
    /// Forgets what the look did not see.
    void EndLook();
    void AddClosed(const std::vector<CString>& names);

    [[nodiscard]] bool IsEmpty() const { return m_files.empty(); }
    /// True when the last look met more than are kept.
    [[nodiscard]] bool IsFull() const { return m_isFull; }
    /// How long until the next look is due; a year when none is.
    [[nodiscard]] std::chrono::nanoseconds UntilNextLook() const;

private:
    struct SFile {
        std::chrono::nanoseconds since{};
        std::chrono::nanoseconds tried{};
        std::chrono::nanoseconds pause{};      ///< between this try and the next
        std::chrono::nanoseconds closePause{}; ///< the least between a try and the one that a close asks for
        bool isClosed = false;
        bool isTold = false;
        bool isSeen = true;

        [[nodiscard]] std::chrono::nanoseconds NextTry() const { return tried + pause; }
    };
    [[nodiscard]] static std::size_t KeyOf(const CString& path);
    [[nodiscard]] bool TakeTry(std::chrono::nanoseconds now);
    void Tell(SFile& file, const CString& path, std::chrono::nanoseconds now);

    const std::chrono::milliseconds& m_warnAfter;
    std::unordered_map<std::size_t, SFile> m_files;
    std::chrono::nanoseconds m_nextLook{};
    std::chrono::nanoseconds m_triesUsed{}; ///< until now, when all were
    /// A look leaves those whose time comes later to the next: it is the turn of others.
    std::chrono::nanoseconds m_latestTry = std::chrono::nanoseconds::max();
    std::chrono::nanoseconds m_nextTelling{};
    bool m_isMore = false; ///< met by the look that is going on
    bool m_isFull = false;
};
