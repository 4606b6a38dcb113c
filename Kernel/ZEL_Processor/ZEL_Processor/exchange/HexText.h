#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <cstdint>

/// A number, or a COM result, as "%lx" shows it.
[[nodiscard]] inline CString HexText(std::int32_t number)
{
    constexpr const wchar_t* kDigits = L"0123456789abcdef";
    CString text;
    auto value = static_cast<std::uint32_t>(number);
    do {
        text.insert(text.begin(), kDigits[value & 15]);
        value >>= 4;
    } while (value != 0);
    return text;
}
