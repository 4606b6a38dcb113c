#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "platform/FileSystem.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

/// Last statuses that could not be written, because somebody kept the file open or a link was in the way. They are
/// tried again until he lets go: who waits for the end of a request is told of it, and nobody else waits. Each is
/// written as it would have been by who left it: for whom the files of his thread were private then.
/// Safe from any thread; TryAgain is one thread's, the one that runs requests.
class CLeftStatuses {
public:
    /// Strangers decide how many there are: beyond this the oldest goes, with a warning.
    static constexpr std::size_t kMost = 1000;
    /// A longer one is not kept.
    static constexpr std::size_t kMaxBytes = std::size_t{64} << 10;

    void Leave(const CString& path, const std::string& bytes);
    /// Another status is about to be written, or the file to be removed. A try that is under way is not waited for: it
    /// takes microseconds, and needs the stranger to let go in just these.
    void Forget(const CString& path);
    void ForgetAll();
    [[nodiscard]] bool IsEmpty() const;

    /// One try for each, at most once a second.
    void TryAgain();

private:
    struct SStatus {
        CString path;
        std::string bytes;
        platform::FileOwner owner; ///< empty: for everybody
        std::uint64_t number = 0;  ///< the higher, the newer
    };

    [[nodiscard]] bool NextAfter(std::uint64_t number, SStatus& status) const;
    void Erase(const SStatus& status);

    mutable std::mutex m_cs;
    std::deque<SStatus> m_statuses;        ///< guarded by m_cs; oldest first
    std::uint64_t m_nNumber = 0;           ///< guarded by m_cs
    std::chrono::nanoseconds m_nextTry{0}; ///< of the thread that tries
};
