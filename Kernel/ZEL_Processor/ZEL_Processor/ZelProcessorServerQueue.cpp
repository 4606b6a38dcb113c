#include "ProtocolFiles.h"
#include "ZEL_Processor/ZelProcessorServer.h"
#include "framework/CrashReport.h"
#include "framework/Services.h"
#include "platform/Os.h"
#include "platform/Thread.h"

#include <algorithm>

namespace {

/// Position of the first entry with this path. The comparison is exact: names differ by letter case on some file
/// systems.
template <class Items>
bool FindItem(const Items& items, const CString& path, std::size_t& position)
{
    const auto found =
        std::find_if(items.begin(), items.end(), [&](const TSRequestItem& item) { return item.m_strFile == path; });
    position = static_cast<std::size_t>(found - items.begin());
    return found != items.end();
}

} // namespace

bool CZelProcessorServer::AddRequestToQueue(const CString& path)
{
    const MOXCrashRpt::CScopedSubject subject(path);
    const CString target = GetFileInQueueFullPath(path);
    std::unique_lock lock(m_cs);
    if (Protocol::MoveFileWhenFree(path, target, MoveFlags(), &m_bRunning)) {
        m_queue.push_front({target, 0});
        lock.unlock(); // or the executive would wake up only to wait for it
        m_evQueue->Set();
        return true;
    }
    // A file that vanished was taken back by its sender, and a server that stops leaves files for the next one.
    if (!platform::PathExists(path) || !m_bRunning)
        return false;
    // Shown under the lock on purpose: nothing else is queued or taken until the operator has answered.
    WQ_MessageBox(
        FormatText(L"CZelProcessorServer::AddRequestToQueue : moving of the file '%s' to '%s' failed", {path, target}),
        eMessageStyle_Error);
    return false;
}

bool CZelProcessorServer::RemoveRequestFromQueue(const CString& name)
{
    const std::lock_guard lock(m_cs);
    std::size_t position = 0;
    if (!IsRequestInQueue(name, position))
        return false;
    m_queue.erase(m_queue.begin() + static_cast<std::ptrdiff_t>(position));
    const CString path = GetFileInQueueFullPath(name);
    if (!platform::Succeeded(platform::Files().Remove(path)))
        WQ_MessageBox(L"Unable to delete request file from the queue directory.\nFile:" + path, eMessageStyle_Warning);
    return true;
}

bool CZelProcessorServer::IsRequestInQueue(const CString& name) const
{
    std::size_t position = 0;
    return IsRequestInQueue(name, position);
}

bool CZelProcessorServer::IsRequestInQueue(const CString& name, std::size_t& position) const
{
    return FindItem(m_queue, GetFileInQueueFullPath(name), position);
}

bool CZelProcessorServer::IsRequestPaused(const CString& name) const
{
    std::size_t position = 0;
    return IsRequestPaused(name, position);
}

bool CZelProcessorServer::IsRequestPaused(const CString& name, std::size_t& position) const
{
    return FindItem(m_paused, GetFileInQueueFullPath(name), position);
}

unsigned CZelProcessorServer::MoveFlags() const
{
    return m_options.syncing ? platform::eMoveFlag_WriteThrough : platform::eMoveFlag_None;
}
