#include "framework/Language.h"

#include "framework/texts/TextTable.h"
#include "platform/Language.h"
#include "platform/Mutex.h"
#include "platform/NeverDestroyed.h"
#include "platform/Text.h"

#include <algorithm>

namespace {

struct SChosenLanguage {
    platform::CMutex cs;
    std::wstring language ZEL_GUARDED_BY(cs); ///< empty until it is decided
};

SChosenLanguage& Chosen()
{
    static CNeverDestroyed<SChosenLanguage> chosen;
    return chosen.Get();
}

std::wstring FallbackLanguage()
{
    return platform::FromUtf8(CTextTable::kFallbackLanguage);
}

/// The language of the system's texts with this name; empty when there is none.
std::wstring FindLanguage(const std::wstring& name)
{
    for (const std::string& language : CTextTable::Languages(CTextTable::kSystemModule)) {
        if (std::wstring wide = platform::FromUtf8(language); platform::EqualsNoCase(wide, name))
            return wide;
    }
    return {};
}

/// The same for a name with a country, an encoding or a variant behind it: "de_AT.UTF-8", "de-AT", "ca@valencia".
std::wstring MatchLanguage(const std::wstring& locale)
{
    std::wstring name = locale.substr(0, locale.find_first_of(L".@"));
    std::ranges::replace(name, L'-', L'_');
    if (name == L"C" || name == L"POSIX")
        return FallbackLanguage();
    std::wstring language = FindLanguage(name);
    return language.empty() ? FindLanguage(name.substr(0, name.find(L'_'))) : language;
}

std::wstring LanguageOfUser()
{
    for (const std::wstring& locale : platform::PreferredLanguages()) {
        if (std::wstring language = MatchLanguage(locale); !language.empty())
            return language;
    }
    return FallbackLanguage();
}

} // namespace

std::wstring WQ_FindLanguage()
{
    SChosenLanguage& chosen = Chosen();
    const platform::CMutexLock lock(chosen.cs);
    if (chosen.language.empty())
        chosen.language = LanguageOfUser();
    return chosen.language;
}

void WQ_SetLanguage(const std::wstring& language)
{
    std::wstring found;
    if (!language.empty()) {
        found = MatchLanguage(language);
        if (found.empty())
            found = FallbackLanguage();
    }
    SChosenLanguage& chosen = Chosen();
    const platform::CMutexLock lock(chosen.cs);
    chosen.language = std::move(found);
}
