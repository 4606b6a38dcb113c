#include "HeldFile.h"

#include "framework/Log.h"
#include "framework/Services.h"
#include "platform/FileHolders.h"
#include "platform/Os.h"
#include "platform/SourceLocation.h"
#include "reports/SourceNames.h"

#include <chrono>

using namespace std::chrono_literals;

namespace HeldFile {

namespace {

/// To find who holds a file takes milliseconds on a machine with many processes.
constexpr std::chrono::nanoseconds kBetweenLooks = 5s;

/// Whether the system may be asked again.
bool TakeLook()
{
    static std::atomic<std::int64_t> s_next = 0;
    const std::int64_t now = platform::Clock().Steady().count();
    std::int64_t next = s_next;
    // A clock that was set back, as tests do, must not end the looks.
    const bool isDue = now >= next || next - now > kBetweenLooks.count();
    return isDue && s_next.compare_exchange_strong(next, now + kBetweenLooks.count());
}

} // namespace

CString Describe(const CString& path)
{
    const CString holders = TakeLook() ? platform::FileHolders(path) : CString();
    return L"'" + path + L"' is kept open by " + (holders.empty() ? L"another process" : holders);
}

Protocol::GoOn WithWarning(const CString& path, Protocol::GoOn goOn, std::chrono::milliseconds after)
{
    return [path, goOn = std::move(goOn), after, start = platform::Clock().Steady(), isTold = after == 0ms]() mutable {
        if (goOn && !goOn())
            return false;
        if (!isTold && platform::Clock().Steady() - start >= after) {
            isTold = true;
            Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Warning, ZEL_SOURCE_LOCATION,
                             Describe(path) + L"; it is waited for");
        }
        return true;
    };
}

} // namespace HeldFile
