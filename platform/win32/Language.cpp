#include "platform/Language.h"
#include "platform/win32/WindowsHeader.h"

#include <winnls.h>

namespace platform {

std::vector<std::wstring> DesktopLanguages()
{
    ULONG count = 0;
    ULONG length = 0;
    if (!GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &length))
        return {};
    std::vector<wchar_t> names(length);
    if (!GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, names.data(), &length))
        return {};
    // One name after the other, each with a zero, and a zero behind the last.
    std::vector<std::wstring> languages;
    for (const wchar_t* name = names.data(); *name != L'\0'; name += languages.back().size() + 1)
        languages.emplace_back(name);
    return languages;
}

} // namespace platform
