#include "VWQ_StringCodeDll.h"

#include "SourceNames.h"
#include "framework/Services.h"

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
    const CWQ_SetResource ours(kResourceModule);
    return WQ_LoadString(static_cast<unsigned>(std::stoul(code)));
}
