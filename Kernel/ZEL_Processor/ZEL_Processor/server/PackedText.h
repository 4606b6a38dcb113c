#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "platform/Text.h"

#include <algorithm>
#include <string>
#include <string_view>

/// Texts of which there may be a million, nearly all of them ASCII: a byte for each character then. Any text comes back
/// as it was; two texts are equal when they are packed.
namespace PackedText {

[[nodiscard]] inline std::string Pack(std::wstring_view text)
{
    if (std::ranges::any_of(text, [](wchar_t unit) { return unit <= 0 || unit > 0x7F; }))
        return std::string(1, '\0') + platform::ToUtf16Le(text);
    std::string packed(text.size(), '\0');
    std::ranges::transform(text, packed.begin(), [](wchar_t unit) { return static_cast<char>(unit); });
    return packed;
}

[[nodiscard]] inline CString Unpack(std::string_view packed)
{
    if (!packed.empty() && packed.front() == '\0')
        return platform::FromUtf16Le(packed.substr(1));
    return CString(packed.begin(), packed.end());
}

} // namespace PackedText
