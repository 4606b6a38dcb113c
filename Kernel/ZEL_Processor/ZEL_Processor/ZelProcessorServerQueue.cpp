#include "ProtocolFiles.h"
#include "StringCodes.h"
#include "ZEL_Processor/ZelProcessor.h"
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

template <class Items>
TSRequestItem TakeItem(Items& items, std::size_t position)
{
    const auto found = items.begin() + static_cast<std::ptrdiff_t>(position);
    TSRequestItem item = std::move(*found);
    items.erase(found);
    return item;
}

} // namespace

bool CZelProcessorServer::AddRequestToQueue(const CString& path)
{
    const MOXCrashRpt::CScopedSubject subject(path);
    const CString target = GetFileInQueueFullPath(path);
    // Not under m_cs: this waits for whoever has the file open, and only the listener may wait for him.
    if (Protocol::MoveFileWhenFree(path, target, MoveFlags(), &m_bRunning)) {
        {
            const std::lock_guard lock(m_cs);
            m_queue.push_front({target, 0});
        }
        m_evQueue->Set();
        return true;
    }
    // A file that vanished was taken back by its sender, and a server that stops leaves files for the next one.
    if (platform::PathExists(path) && m_bRunning)
        WQ_MessageBox(FormatText(L"CZelProcessorServer::AddRequestToQueue : moving of the file '%s' to '%s' failed",
                                 {path, target}),
                      eMessageStyle_Error);
    return false;
}

bool CZelProcessorServer::RemoveRequestFromQueue(const CString& name)
{
    TSRequestItem item;
    // Whoever is told that a request is paused may count on a cancel that means it.
    const bool takesPaused = m_options.cancelByName || m_options.pausedStatus;
    if (!TakeWaiting(name, item) && !(takesPaused && TakePaused(name, item)))
        return false;
    // Before the file is gone, or the name would look unknown in between. It is free before anybody can use it again:
    // this very thread takes what is sent.
    if (m_options.cancelByName)
        SetRequestStatus(name, eRequestStatus_Canceled, TextOf(StringCodes::kCanceled));
    if (!platform::Succeeded(Protocol::RetryForASecond([&] { return platform::Files().Remove(item.m_strFile); })))
        WQ_MessageBox(L"Unable to delete request file from the queue directory.\nFile:" + item.m_strFile,
                      eMessageStyle_Warning);
    // One that its task declined has a status of that run, which nobody would ever bring to an end.
    if (!m_options.cancelByName)
        static_cast<void>(Protocol::RemoveFileWhenFree(m_pProcessor->GetOutputStatusFilePath(name)));
    return true;
}

bool CZelProcessorServer::TakeWaiting(const CString& name, TSRequestItem& item)
{
    const std::lock_guard lock(m_cs);
    std::size_t position = 0;
    if (!IsRequestInQueue(name, position))
        return false;
    item = TakeItem(m_queue, position);
    return true;
}

bool CZelProcessorServer::TakePaused(const CString& name, TSRequestItem& item)
{
    const std::lock_guard lock(m_cs);
    std::size_t position = 0;
    if (!IsRequestPaused(name, position))
        return false;
    item = TakeItem(m_paused, position);
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
