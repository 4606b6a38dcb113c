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

} // namespace

eOsError OpenLockFile(const std::wstring& path, const std::string& content, std::unique_ptr<ILockFile>& lockFile)
{
    constexpr DWORD flags = FILE_FLAG_WRITE_THROUGH | FILE_FLAG_NO_BUFFERING | FILE_FLAG_DELETE_ON_CLOSE |
                            FILE_ATTRIBUTE_NOT_CONTENT_INDEXED | FILE_ATTRIBUTE_TEMPORARY;
    CHandle handle(CreateFileW(ToSystemPath(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                               flags, nullptr));
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
