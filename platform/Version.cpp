#include "platform/Version.h"

#include "platform/Text.h"

namespace platform {

std::wstring LibraryVersion()
{
    return std::to_wstring(ZEL_VERSION_MAJOR) + L"." + std::to_wstring(ZEL_VERSION_MINOR) + L"." +
           std::to_wstring(ZEL_VERSION_PATCH);
}

std::wstring CompilerVersion()
{
    const std::wstring version = FromUtf8(__VERSION__); // clang's has its name in it
    return (version.starts_with(L"Clang") ? version : L"GCC " + version) + L", " + std::to_wstring(8 * sizeof(void*)) +
           L" bit";
}

} // namespace platform
