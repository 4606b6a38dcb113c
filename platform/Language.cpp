#include "platform/Language.h"

#include "platform/Module.h"

#include <algorithm>

namespace platform {
namespace {

std::wstring LocaleOfVariables()
{
    for (const wchar_t* const name : {L"LC_ALL", L"LC_MESSAGES", L"LANG"}) {
        if (std::wstring value = Environment(name); !value.empty())
            return value;
    }
    return {};
}

/// The entries of "de:fr", without empty ones.
std::vector<std::wstring> SplitList(const std::wstring& list)
{
    std::vector<std::wstring> entries;
    for (std::size_t begin = 0; begin < list.size();) {
        const std::size_t end = std::min(list.find(L':', begin), list.size());
        if (end != begin)
            entries.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return entries;
}

} // namespace

std::vector<std::wstring> PreferredLanguages()
{
    const std::wstring locale = LocaleOfVariables();
    std::vector<std::wstring> languages;
    if (locale.empty())
        languages = DesktopLanguages();
    else
        languages.push_back(locale);
    if (languages.empty() || locale == L"C" || locale == L"POSIX")
        return languages;
    std::vector<std::wstring> list = SplitList(Environment(L"LANGUAGE"));
    return list.empty() ? languages : list;
}

} // namespace platform
