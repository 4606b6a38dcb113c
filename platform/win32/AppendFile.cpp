#include "platform/AppendFile.h"

#include "platform/Path.h"
#include "platform/Trust.h"
#include "platform/win32/Handle.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"

#include <algorithm>

namespace platform {
namespace {

class CAppendFile final : public IAppendFile {
public:
    explicit CAppendFile(win32::CHandle handle) : m_handle(std::move(handle)) {}

    eOsError Write(std::string_view bytes) override
    {
        constexpr std::size_t kMaxChunk = std::size_t{1} << 30;
        while (!bytes.empty()) {
            DWORD count = 0;
            const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kMaxChunk));
            if (!WriteFile(m_handle.Get(), bytes.data(), wanted, &count, nullptr))
                return win32::LastOsError();
            if (count == 0)
                return eOsError_DiskFull;
            bytes.remove_prefix(count);
        }
        return eOsError_None;
    }

    [[nodiscard]] std::uint64_t Length() const override
    {
        LARGE_INTEGER length{};
        return GetFileSizeEx(m_handle.Get(), &length) ? static_cast<std::uint64_t>(length.QuadPart) : 0;
    }

private:
    const win32::CHandle m_handle;
};

bool HasSecondName(HANDLE handle)
{
    BY_HANDLE_FILE_INFORMATION information{};
    return GetFileInformationByHandle(handle, &information) && information.nNumberOfLinks > 1;
}

} // namespace

eOsError OpenForAppending(const std::wstring& path, std::unique_ptr<IAppendFile>& file)
{
    win32::CHandle handle(CreateFileW(win32::ToSystemPath(path).c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                      nullptr));
    if (!handle)
        return win32::LastOsError();
    // Of a file in a folder of the operator's own it is his.
    if (HasSecondName(handle.Get()) && !DistrustOf(DirectoryOf(AbsolutePath(path))).empty())
        return eOsError_AccessDenied;
    file = std::make_unique<CAppendFile>(std::move(handle));
    return eOsError_None;
}

} // namespace platform
