#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <cstdint>
#include <string_view>

/// The text of a status file: the status number, then lines of key, "=" and escaped value; every line ends in CR LF.
namespace StatusFileText {

constexpr const wchar_t* kProgressPercent = L"ProgressPerc";
constexpr const wchar_t* kProgressComment = L"ProgressComment";

[[nodiscard]] CString EscapeValue(const CString& value);
[[nodiscard]] CString UnescapeValue(const CString& value);

[[nodiscard]] CString StatusLine(std::int32_t status);
[[nodiscard]] CString KeyLine(const CString& key, const CString& value);

/// The number at the start of the text's first line, as the C library converts: 0 when there is none. False for an
/// empty text.
bool FindStatus(std::wstring_view text, std::int32_t& status);
/// The value of the first line with this key, in any letter case, without the spaces around it and unescaped; empty
/// with false.
bool FindKey(std::wstring_view text, std::wstring_view key, CString& value);

/// Decimal number as the C library converts it: white space, a sign, digits; what does not fit becomes the nearest that
/// does.
[[nodiscard]] std::int32_t ToNumber(const CString& text);

} // namespace StatusFileText
