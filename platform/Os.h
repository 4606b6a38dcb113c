#pragma once

#include "platform/Clock.h"
#include "platform/Export.h"
#include "platform/FileSystem.h"
#include "platform/Thread.h"

#include <array>
#include <cstdint>

/// The way to the operating system: everything above asks Files() and Clock(), and CThread asks Threads(), so a test
/// can put a wrapper in between that fails call N with error E or moves the time by hand.
namespace platform {

[[nodiscard]] ZEL_FRAMEWORK_API IFileSystem& Files();
[[nodiscard]] ZEL_FRAMEWORK_API IClock& Clock();
[[nodiscard]] ZEL_FRAMEWORK_API IThreads& Threads();

/// The implementations of this system, whatever is installed at the moment.
[[nodiscard]] ZEL_FRAMEWORK_API IFileSystem& SystemFiles();
[[nodiscard]] ZEL_FRAMEWORK_API IClock& SystemClock();
[[nodiscard]] ZEL_FRAMEWORK_API IThreads& SystemThreads();

/// Installs other implementations for the whole process while the object lives; null keeps the current one. The objects
/// must outlive every use of them: threads that use them are joined first. Nests.
class ZEL_FRAMEWORK_API CScopedOs {
public:
    CScopedOs(IFileSystem* files, IClock* clock, IThreads* threads = nullptr);
    ~CScopedOs();
    CScopedOs(const CScopedOs&) = delete;
    CScopedOs& operator=(const CScopedOs&) = delete;

private:
    IFileSystem* m_pOldFiles;
    IClock* m_pOldClock;
    IThreads* m_pOldThreads;
};

/// 16 random bytes of a version 4 unique identifier, from the system's own generator. In memory order of a GUID.
[[nodiscard]] ZEL_FRAMEWORK_API std::array<std::uint8_t, 16> NewUniqueId();

[[nodiscard]] ZEL_FRAMEWORK_API std::uint32_t CurrentProcessId();
[[nodiscard]] ZEL_FRAMEWORK_API std::uint32_t CurrentThreadId();

} // namespace platform
