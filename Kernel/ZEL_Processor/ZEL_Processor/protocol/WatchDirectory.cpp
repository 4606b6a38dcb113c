#include "WatchDirectory.h"

#include "framework/Log.h"
#include "framework/Services.h"
#include "reports/SourceNames.h"

platform::eOsError Protocol::WatchDirectory(const CString& directory, platform::eWatchFilter filter,
                                            const platform::SWatchOptions& options,
                                            std::unique_ptr<platform::IDirectoryWatch>& watch)
{
    bool isDeaf = false;
    const platform::eOsError error = platform::WatchProven(directory, filter, options, watch, isDeaf);
    if (isDeaf)
        Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                         L"The system does not tell of changes in this directory, so it is listed instead: " +
                             directory);
    return error;
}
