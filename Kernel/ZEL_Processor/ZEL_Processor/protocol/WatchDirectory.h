#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "platform/ReliableWatch.h"

#include <memory>

namespace Protocol {

/// platform::WatchProven, with a line of the log where the directory is listed because nothing is told of it.
[[nodiscard]] platform::eOsError WatchDirectory(const CString& directory, platform::eWatchFilter filter,
                                                const platform::SWatchOptions& options,
                                                std::unique_ptr<platform::IDirectoryWatch>& watch);

} // namespace Protocol
