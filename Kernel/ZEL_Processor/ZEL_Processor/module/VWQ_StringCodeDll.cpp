#include "VWQ_StringCodeDll.h"

#include "framework/Services.h"
#include "framework/texts/TextTable.h"
#include "reports/SourceNames.h"

#include <string>

std::wstring CVWQ_StringCodeDll::Prefix()
{
    return L"DLLRC:";
}

std::wstring CVWQ_StringCodeDll::Text(const std::wstring& code)
{
    constexpr std::size_t kLongestId = 9;
    if (code.empty() || code.size() > kLongestId || code.find_first_not_of(L"0123456789") != std::wstring::npos)
        return {};
    const auto id = static_cast<unsigned>(std::stoul(code));
    // A host answers for a text that it does not know with words about that, which would pass for the text.
    const CTextTable* const known = CTextTable::Find(kResourceModule, CTextTable::kFallbackLanguage);
    if (known == nullptr || known->FindEntry(id) == nullptr)
        return {};
    const CWQ_SetResource ours(kResourceModule);
    return WQ_LoadString(id);
}
