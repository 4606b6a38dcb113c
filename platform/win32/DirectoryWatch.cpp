#include "platform/win32/DirectoryWatch.h"

#include "platform/win32/Handle.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"

namespace platform::win32 {

namespace {

/// The owner of a notification handle, which has a closing function of its own.
class CNotification {
public:
    CNotification() = default;
    ~CNotification() { Close(); }
    CNotification(const CNotification&) = delete;
    CNotification& operator=(const CNotification&) = delete;

    [[nodiscard]] eOsError Open(const std::wstring& path, DWORD filter)
    {
        Close();
        m_handle = FindFirstChangeNotificationW(path.c_str(), FALSE, filter);
        if (IsOpen()) {
            return eOsError_None;
        }
        const eOsError error = LastOsError();
        return error == eOsError_FileNotFound ? eOsError_PathNotFound : error;
    }

    void Close()
    {
        if (IsOpen()) {
            FindCloseChangeNotification(std::exchange(m_handle, INVALID_HANDLE_VALUE));
        }
    }

    [[nodiscard]] bool IsOpen() const { return m_handle != INVALID_HANDLE_VALUE; }
    [[nodiscard]] HANDLE Get() const { return m_handle; }

private:
    HANDLE m_handle = INVALID_HANDLE_VALUE;
};

DWORD ToSystemFilter(eWatchFilter filter)
{
    return filter == eWatchFilter_FileNameAndLastWrite ? FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE
                                                       : FILE_NOTIFY_CHANGE_FILE_NAME;
}

class CWin32DirectoryWatch final : public IDirectoryWatch {
public:
    CWin32DirectoryWatch(const std::wstring& directory, eWatchFilter filter)
        : m_path(ToSystemPath(directory)),
          m_filter(ToSystemFilter(filter)),
          m_wake(CreateEventW(nullptr, FALSE, FALSE, nullptr))
    {}

    eWaitResult Wait(std::chrono::milliseconds timeout) override
    {
        const HANDLE handles[] = {m_wake.Get(), m_notification.Get()};
        // While nothing is watched no change can come; a wake-up that is there already still counts.
        const bool watches = m_notification.IsOpen();
        switch (WaitForMultipleObjects(watches ? 2 : 1, handles, FALSE, watches ? ToWaitTime(timeout) : 0)) {
        case WAIT_OBJECT_0: return eWaitResult_Woken;
        case WAIT_OBJECT_0 + 1: return eWaitResult_Changed;
        case WAIT_TIMEOUT: return watches ? eWaitResult_Timeout : eWaitResult_Failed;
        default: return eWaitResult_Failed;
        }
    }

    eOsError Rearm() override
    {
        // Not FindNextChangeNotification: it goes on with the directory that was opened, which may have been deleted
        // (and stay half deleted while we hold it) or moved away, with another one in its place. Only opening the path
        // again tells that. What changes in between belongs to the change that is being taken.
        return m_wake ? m_notification.Open(m_path, m_filter) : eOsError_OutOfMemory;
    }

    void Wake() override { SetEvent(m_wake.Get()); }

private:
    const std::wstring m_path;
    const DWORD m_filter;
    const CHandle m_wake;
    CNotification m_notification; // closed while the directory is gone; belongs to the waiting thread
};

} // namespace

eOsError WatchDirectory(const std::wstring& directory, eWatchFilter filter, std::unique_ptr<IDirectoryWatch>& watch)
{
    auto made = std::make_unique<CWin32DirectoryWatch>(directory, filter);
    const eOsError error = made->Rearm();
    if (Succeeded(error)) {
        watch = std::move(made);
    }
    return error;
}

} // namespace platform::win32
