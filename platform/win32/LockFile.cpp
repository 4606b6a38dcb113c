#include "platform/win32/LockFile.h"

#include "platform/win32/Handle.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"

namespace platform::win32 {

namespace {

class CWin32LockFile final : public ILockFile {
public:
    explicit CWin32LockFile(CHandle handle) : m_handle(std::move(handle)) {}

private:
    const CHandle m_handle; // closing it deletes the file, and so does the death of the process
};

/// Looked at before and not in the open file, for a file that is created in any case is created where a link leads. On
/// this system it takes a privilege to make one.
bool IsLink(const std::wstring& systemPath)
{
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(systemPath.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        return false;
    }
    FindClose(search);
    return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && IsReparseTagNameSurrogate(found.dwReserved0);
}

} // namespace

eOsError OpenLockFile(const std::wstring& path, const std::string& content, std::unique_ptr<ILockFile>& lockFile)
{
    constexpr DWORD flags = FILE_FLAG_WRITE_THROUGH | FILE_FLAG_NO_BUFFERING | FILE_FLAG_DELETE_ON_CLOSE |
                            FILE_ATTRIBUTE_NOT_CONTENT_INDEXED | FILE_ATTRIBUTE_TEMPORARY;
    const std::wstring systemPath = ToSystemPath(path);
    if (IsLink(systemPath)) {
        return eOsError_LinkInTheWay;
    }
    CHandle handle(
        CreateFileW(systemPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, flags, nullptr));
    if (!handle) {
        return LastOsError();
    }

    // The content is for people only. Without buffering the system takes whole sectors alone and refuses this short
    // text; the holder is the holder all the same.
    DWORD written = 0;
    WriteFile(handle.Get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr);

    lockFile = std::make_unique<CWin32LockFile>(std::move(handle));
    return eOsError_None;
}

} // namespace platform::win32
