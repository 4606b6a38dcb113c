#include "plugins/testtasks/Parameters.h"

namespace {
constexpr std::uint32_t kMaxNumber = 1'000'000;
}

CString CParameters::Text(const CString& name, const CString& missing) const
{
    CString value;
    if (CXMLTools::GetNodeValue(m_pTask.Get(), name, value) || CXMLTools::GetAttributeValue(m_pTask.Get(), name, value))
        return value;
    return missing;
}

bool CParameters::Number(const CString& name, std::uint32_t missing, std::uint32_t& value) const
{
    const CString text = Text(name, std::to_wstring(missing));
    value = 0;
    for (const wchar_t digit : text) {
        if (digit < L'0' || digit > L'9')
            return false;
        value = value * 10 + static_cast<std::uint32_t>(digit - L'0');
        if (value > kMaxNumber)
            return false;
    }
    return !text.empty();
}
