#include "platform/Path.h"

#include "platform/Text.h"

#include <cstdlib>
#include <memory>
#include <unistd.h>

namespace platform {

extern const wchar_t kPathSeparator = L'/';

bool IsPathSeparator(wchar_t character)
{
    return character == L'/';
}

std::wstring AbsolutePath(std::wstring_view path)
{
    if (path.empty() || path.front() == L'/') {
        return std::wstring(path);
    }
    const std::unique_ptr<char, decltype(&std::free)> current(getcwd(nullptr, 0), &std::free);
    if (current == nullptr) {
        return std::wstring(path);
    }
    while (path.starts_with(L"./")) {
        path.remove_prefix(2);
    }
    const std::wstring directory = FromUtf8(current.get());
    return path.empty() || path == L"." ? directory : JoinPath(directory == L"/" ? L"" : directory, path);
}

std::string NarrowPath(std::wstring_view path)
{
    return ToUtf8(path);
}

} // namespace platform
