#include "platform/Module.h"
#include "platform/Path.h"
#include "platform/win32/WindowsHeader.h"

#include <shlobj.h>
#include <stdlib.h>

namespace platform {

namespace {

const wchar_t kConfigFolder[] = L"ZEL-Processor";

std::wstring WithoutSeparatorAtEnd(std::wstring path)
{
    while (path.size() > 3 && IsPathSeparator(path.back())) { // a drive's root keeps its own
        path.pop_back();
    }
    return path;
}

/// The folder that the variable names, or the system's own answer where a service runs without the variable.
std::wstring ConfigDirectory(const wchar_t* variable, int folder)
{
    std::wstring path = Environment(variable);
    if (path.empty()) {
        wchar_t buffer[MAX_PATH] = {};
        if (SHGetFolderPathW(nullptr, folder | CSIDL_FLAG_DONT_VERIFY, nullptr, SHGFP_TYPE_CURRENT, buffer) != S_OK) {
            return {};
        }
        path = buffer;
    }
    return JoinPath(WithoutSeparatorAtEnd(std::move(path)), kConfigFolder);
}

} // namespace

std::wstring Environment(const wchar_t* name)
{
    std::wstring value(256, L'\0');
    for (;;) {
        const DWORD length = GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
        const bool fits = length < value.size();
        value.resize(length); // of the value when it fits, else what it needs with its null
        if (fits) {
            return value;
        }
    }
}

void SetEnvironment(const wchar_t* name, const std::wstring& value)
{
    // The C library keeps a copy of its own; it passes an own change on to the system, except that it can't tell
    // "empty".
    _wputenv_s(name, value.c_str());
    SetEnvironmentVariableW(name, value.empty() ? nullptr : value.c_str());
}

wchar_t PathListSeparator()
{
    return L';';
}

std::wstring TemporaryDirectory()
{
    wchar_t buffer[MAX_PATH + 1] = {};
    const DWORD length = GetTempPathW(MAX_PATH + 1, buffer);
    return WithoutSeparatorAtEnd(std::wstring(buffer, length <= MAX_PATH ? length : 0));
}

std::wstring SystemConfigDirectory()
{
    return ConfigDirectory(L"ProgramData", CSIDL_COMMON_APPDATA);
}

std::wstring UserConfigDirectory()
{
    return ConfigDirectory(L"LOCALAPPDATA", CSIDL_LOCAL_APPDATA);
}

} // namespace platform
