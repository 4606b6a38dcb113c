#pragma once

#include "platform/Export.h"

#include <string>
#include <string_view>

/// Text forms. The library holds text as std::wstring, whose unit is 16 bits on Windows and 32 elsewhere; nothing is
/// ever written by copying its memory. All functions here are pure and safe from any thread.
namespace platform {

/// UTF-8 of a wide text. A lone surrogate U+DC80..U+DCFF becomes the single byte 0x80..0xFF that it stands for (see
/// FromUtf8), so names round-trip; any other lone surrogate becomes U+FFFD.
[[nodiscard]] ZEL_FRAMEWORK_API std::string ToUtf8(std::wstring_view text);

/// Wide text of UTF-8. A byte that is no part of valid UTF-8 becomes the lone surrogate U+DC00 + byte, so that file
/// names that are not valid UTF-8 survive the way through the library unchanged.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring FromUtf8(std::string_view bytes);

/// UTF-16LE bytes of a wide text, no byte-order mark. Lone surrogates are kept as they are.
[[nodiscard]] ZEL_FRAMEWORK_API std::string ToUtf16Le(std::wstring_view text);

/// Wide text of UTF-16LE bytes. An odd last byte is dropped; lone surrogates are kept.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring FromUtf16Le(std::string_view bytes);

/// True when ToUtf8 would have to escape or replace something, so the text can't be shown or put into XML as it stands.
[[nodiscard]] ZEL_FRAMEWORK_API bool HasLoneSurrogates(std::wstring_view text);

/// Case-insensitive comparison of whole texts, by simple case folding of each code unit and independent of the locale.
[[nodiscard]] ZEL_FRAMEWORK_API bool EqualsNoCase(std::wstring_view left, std::wstring_view right);

/// Whether a character does something to what stands beside it where it is printed: the control characters, the line
/// ends of Unicode, and the marks that turn the direction of text, with which "gpj.exe" reads as "exe.jpg".
[[nodiscard]] ZEL_FRAMEWORK_API bool IsControl(wchar_t character);

} // namespace platform
