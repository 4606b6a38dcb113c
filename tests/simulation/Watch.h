#pragma once

#include "platform/DirectoryWatch.h"
#include "tests/simulation/Disk.h"

#include <memory>
#include <string>

namespace sim {

/// Hears of each change of the disk at once.
class IDiskListener {
public:
    virtual void Hear(const std::wstring& directory, CDisk::eChange change) = 0;

protected:
    ~IDiskListener() = default;
};

/// Tells of changes of the disk at once or after a while that the seed decides, several as one.
[[nodiscard]] platform::eOsError WatchDirectory(const std::wstring& directory, platform::eWatchFilter filter,
                                                std::unique_ptr<platform::IDirectoryWatch>& watch);

} // namespace sim
