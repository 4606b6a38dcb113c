#pragma once

#include "platform/Export.h"
#include "platform/OsError.h"
#include "platform/Sandbox.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// Processes for code that may do anything: each ends with all that it has started, and with its parent.
namespace platform {

/// What such a process may take. Asked for with SProcessOptions::containment; the program must call EnterContainment.
struct SContainment {
    /// In bytes: on POSIX of address space, what is mapped from files included; on Windows of committed memory. Each
    /// process that it starts has as much. 0: any amount.
    std::uint64_t memory = 0;
    /// 0 to 19, the higher the less of a busy processor it gets; on Windows from 1 on the class below the normal one,
    /// from 10 on that of an idle machine.
    int nice = 0;
    /// See EnterSandbox. The guard of the process, which runs no code of others, is not in it.
    std::optional<SSandbox> sandbox = std::nullopt;

    bool operator==(const SContainment&) const = default;
};

/// Called first in the main of a program that was started with a containment, before any thread: from here on it holds.
/// On POSIX this forks: the parent of the process that goes on from here does nothing but end with it and have all end
/// that it started, whether or not that has left its session, when it has ended, when it is told to by SIGTERM, and
/// when whoever holds the other end of standard input is gone. NotSupported when nobody asked for a containment.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError EnterContainment();

/// In a contained process: whether anything that it started is still there. On POSIX a child that has ended and was not
/// waited for is there; of what has left its parents a kernel that does not tell a process's children hides it.
[[nodiscard]] ZEL_FRAMEWORK_API bool HasLeftProcesses();

/// In bytes, of this process: what it has in memory now. 0 when the system does not tell.
[[nodiscard]] ZEL_FRAMEWORK_API std::uint64_t MemoryInUse();

/// The pipes to the process that started this one with SProcessOptions::pipeInput and pipeOutput. They are taken away
/// from standard input and output, which are empty and where the errors go from then on, so that no code that reads or
/// prints gets in between; nor does this process hand them on to others. A copy of this process that writes is ended.
class ZEL_FRAMEWORK_API CParentChannel {
public:
    CParentChannel();
    ~CParentChannel();
    CParentChannel(const CParentChannel&) = delete;
    CParentChannel& operator=(const CParentChannel&) = delete;

    [[nodiscard]] eOsError Error() const;
    /// One line, without its end, decoded as UTF-8. False at the end, and for a line of more than so many bytes. For
    /// one thread.
    [[nodiscard]] bool ReadLine(std::wstring& line, std::size_t longest);
    /// Something has come, or the end has, so that ReadLine waits for no more than the rest of a line. For that thread.
    [[nodiscard]] bool HasInput() const;
    /// False when the parent is gone. From any thread.
    bool WriteLine(const std::wstring& line);

private:
    struct SState;
    std::unique_ptr<SState> m_pState;
};

} // namespace platform
