#include "Housekeeping.h"

#include "RequestQueue.h"
#include "ServerSettings.h"
#include "ZEL_Processor/ZelProcessorEnums.h"
#include "framework/Log.h"
#include "framework/Services.h"
#include "framework/WorkerThread.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/SourceLocation.h"
#include "platform/Text.h"
#include "protocol/StatusFileText.h"
#include "reports/SourceNames.h"

#include <algorithm>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr auto kBetweenWalks = 1h;
constexpr auto kNap = 50ms;
/// A longer status is left alone.
constexpr std::size_t kMostOfAStatus = std::size_t{1} << 20;
constexpr std::int64_t kNsPerSecond = 1'000'000'000;

/// The request or command that a file of the output directory belongs to; empty for any other file.
CString NameOf(const CString& file)
{
    const bool isStatus = platform::EqualsNoCase(platform::ExtensionOf(file), Protocol::kStatusExtension);
    const CString name = isStatus ? file.substr(0, file.rfind(L'.')) : file;
    return Protocol::GetFileKind(name) == Protocol::eFileKind_Other ? CString() : name;
}

bool IsFinal(std::int32_t status)
{
    return status == eRequestStatus_Done || status == eRequestStatus_Canceled || status == eRequestStatus_ServerError ||
           status == eRequestStatus_ServerTimeout;
}

} // namespace

CHousekeeping::CHousekeeping(const CServerSettings& settings, const CRequestQueue& requests,
                             const std::atomic<bool>& isRunning)
    : m_settings(settings), m_requests(requests), m_isRunning(isRunning), m_failed(settings)
{}

CHousekeeping::~CHousekeeping()
{
    Stop();
}

void CHousekeeping::Start()
{
    Stop();
    if (m_settings.m_options.keep == 0s && m_settings.m_options.keepFailed == 0s)
        return;
    m_evStop.Reset();
    m_pThread = AfxBeginThread(&CHousekeeping::Thread, this);
}

void CHousekeeping::Stop()
{
    m_evStop.Set();
    m_pThread.reset();
}

unsigned CHousekeeping::Thread(void* housekeeping)
{
    platform::SetCurrentThreadName("ZelProcessorServer::Housekeeping");
    while (static_cast<CHousekeeping*>(housekeeping)->Step()) {
    }
    return 0;
}

bool CHousekeeping::Step()
{
    m_failed.RemoveOld([this] { return !IsStopping(); });
    if (m_settings.m_options.keep != 0s)
        Find();
    if (!WaitUntilFewerThan(1))
        return false;
    TellRemoved();
    static_cast<void>(m_evStop.WaitFor(kBetweenWalks));
    return !IsStopping();
}

/// By its time and kind. A file that cannot be looked at is not old.
bool CHousekeeping::IsOld(const CString& path) const
{
    platform::SFileAttributes attributes;
    if (platform::NameKind(path) != platform::eNameKind_File ||
        !platform::Succeeded(platform::Files().GetAttributes(path, attributes)))
        return false;
    const std::int64_t age = platform::Clock().UtcSeconds() - attributes.times.modified / kNsPerSecond;
    return age >= m_settings.m_options.keep.count();
}

bool CHousekeeping::IsFinalStatus(const CString& path) const
{
    std::string bytes;
    std::int32_t status = 0;
    return platform::Succeeded(
               platform::ReadWholeFile(path, platform::eOpenMode_ReadExclusive, bytes, kMostOfAStatus)) &&
           StatusFileText::FindStatus(platform::FromUtf16Le(bytes), status) && IsFinal(status);
}

void CHousekeeping::Find()
{
    const CString& directory = m_settings.m_paths.m_strOutputDir;
    // What cannot be listed now can be in an hour; the requests themselves tell of a directory that is gone.
    static_cast<void>(platform::Files().Visit(directory, [&](const platform::SDirectoryEntry& entry) {
        const CString name = NameOf(entry.name);
        if (!name.empty() && !entry.isDirectory && IsOld(platform::JoinPath(directory, entry.name))) {
            const CString status = m_settings.m_paths.Status(name);
            if (!platform::PathExists(status) || (IsOld(status) && IsFinalStatus(status)))
                Add(name);
        }
        return !IsStopping() && WaitUntilFewerThan(kMostFound);
    }));
}

void CHousekeeping::Add(const CString& name)
{
    const platform::CMutexLock lock(m_cs);
    m_found.push_back(name);
    m_hasFound = true;
}

bool CHousekeeping::WaitUntilFewerThan(std::size_t count)
{
    for (;;) {
        {
            const platform::CMutexLock lock(m_cs);
            if (m_found.size() < count)
                return true;
        }
        if (IsStopping() || m_evStop.WaitFor(kNap))
            return false;
    }
}

void CHousekeeping::RemoveSome()
{
    if (!m_hasFound)
        return;
    std::vector<CString> names;
    {
        const platform::CMutexLock lock(m_cs);
        const auto count = std::min(m_found.size(), kRemovedInATurn);
        names.assign(m_found.begin(), m_found.begin() + static_cast<std::ptrdiff_t>(count));
    }
    for (const CString& name : names) {
        // The name may be in use again, or have been.
        const CString status = m_settings.m_paths.Status(name);
        if (m_requests.IsKnown(m_settings.m_paths.InQueue(name)) || (platform::PathExists(status) && !IsOld(status)))
            continue;
        // The response first: without it a status still says what became of the request.
        if (RemoveFile(m_settings.m_paths.Output(name)))
            RemoveFile(status);
    }
    // Not before, for who waits until there are none tells how many were removed.
    const platform::CMutexLock lock(m_cs);
    m_found.erase(m_found.begin(), m_found.begin() + static_cast<std::ptrdiff_t>(names.size()));
    m_hasFound = !m_found.empty();
}

/// False when it is there still.
bool CHousekeeping::RemoveFile(const CString& path)
{
    if (!platform::PathExists(path))
        return true;
    if (!IsOld(path) || !platform::Succeeded(platform::Files().Remove(path)))
        return false;
    ++m_nRemoved;
    return true;
}

std::uint64_t CHousekeeping::TellRemoved()
{
    const std::uint64_t count = m_nRemoved.exchange(0);
    if (count != 0)
        Brel::Log::Write(*Brel::Log::Get(kLoggerName), Brel::Log::eLogLevel_Info, ZEL_SOURCE_LOCATION,
                         L"Removed because nobody took them: " + std::to_wstring(count) + L" responses and statuses");
    return count;
}
