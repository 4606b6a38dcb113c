#include "capi/Arguments.h"

#include "ZEL_Processor/zel/detail/Sending.h"
#include "platform/Text.h"

namespace {

constexpr wchar_t kFirstHigh = 0xD800;
constexpr wchar_t kFirstLow = 0xDC00;
constexpr wchar_t kLastLow = 0xDFFF;
constexpr wchar_t kNoCharacter = 0xFFFD;

bool IsHigh(wchar_t unit)
{
    return unit >= kFirstHigh && unit < kFirstLow;
}
bool IsLow(wchar_t unit)
{
    return unit >= kFirstLow && unit <= kLastLow;
}

/// The number of units of the character at a place; 0 for a surrogate without its other half.
std::size_t LengthAt(std::wstring_view text, std::size_t index)
{
    if (!IsHigh(text[index]) && !IsLow(text[index]))
        return 1;
    const bool isPair =
        sizeof(wchar_t) == 2 && IsHigh(text[index]) && index + 1 < text.size() && IsLow(text[index + 1]);
    return isPair ? 2 : 0;
}

} // namespace

SOutcome BadArgument(const char* what)
{
    return {ZEL_BAD_ARGUMENT, std::string("bad argument: ") + what};
}

bool IsUnicode(std::wstring_view text)
{
    for (std::size_t index = 0; index < text.size();) {
        const std::size_t length = LengthAt(text, index);
        if (length == 0)
            return false;
        index += length;
    }
    return true;
}

bool TakeText(const char* given, std::size_t maxBytes, std::wstring& text)
{
    if (given == nullptr)
        return false;
    const void* const end = std::memchr(given, 0, maxBytes + 1);
    if (end == nullptr || end == given)
        return false;
    text = platform::FromUtf8({given, static_cast<const char*>(end)});
    return IsUnicode(text);
}

bool TakePath(const char* given, std::wstring& path)
{
    return TakeText(given, ZEL_MAX_PATH_BYTES, path);
}

bool TakeOptionalPath(const char* given, std::wstring& path)
{
    path.clear();
    return given == nullptr || *given == '\0' || TakePath(given, path);
}

SOutcome TakeName(const char* given, std::wstring& name)
{
    if (given == nullptr)
        return BadArgument("name");
    if (!TakeText(given, ZEL_MAX_PATH_BYTES, name))
        return {ZEL_BAD_NAME, "this cannot name a request: it is empty, too long, or no UTF-8"};
    return zel::detail::checkName(name);
}

std::string SafeText(std::wstring_view text)
{
    std::wstring safe;
    safe.reserve(text.size());
    for (std::size_t index = 0; index < text.size();) {
        const std::size_t length = LengthAt(text, index);
        if (length == 0)
            safe += kNoCharacter;
        else if (text[index] == L'\0')
            safe += L' ';
        else
            safe += text.substr(index, length);
        index += std::max<std::size_t>(length, 1);
    }
    return platform::ToUtf8(safe);
}
