#include "platform/Path.h"

#include "platform/Text.h"
#include "platform/win32/SystemPath.h"
#include "platform/win32/WindowsHeader.h"

namespace platform {

extern const wchar_t kPathSeparator = L'\\';

bool IsPathSeparator(wchar_t character)
{
    return character == L'\\' || character == L'/';
}

std::wstring AbsolutePath(std::wstring_view path)
{
    const std::wstring given(path);
    if (given.empty() || given.find(L'\0') != std::wstring::npos) {
        return given;
    }
    std::wstring full(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetFullPathNameW(given.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        if (length == 0) {
            return given;
        }
        const bool fits = length < full.size();
        full.resize(length); // of the text when it fits, else what it needs with its null
        if (fits) {
            return full;
        }
    }
}

std::string NarrowPath(std::wstring_view path)
{
    return ToUtf8(path);
}

namespace win32 {

std::wstring ToSystemPath(const std::wstring& path)
{
    // A directory's path must leave room for a name of the old 8.3 form, so its limit is that much lower.
    constexpr std::size_t classicLimit = MAX_PATH - 12;

    if (path.find(L'\0') != std::wstring::npos) {
        return L"|"; // no part of any valid name
    }
    if (path.size() < classicLimit || path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\")) {
        return path;
    }
    const std::wstring full = AbsolutePath(path);
    return full.starts_with(L"\\\\") ? L"\\\\?\\UNC\\" + full.substr(2) : L"\\\\?\\" + full;
}

} // namespace win32

} // namespace platform
