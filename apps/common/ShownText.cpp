#include "apps/common/ShownText.h"

#include "platform/Text.h"

#include <algorithm>
#include <fmt/xchar.h>

namespace {

bool HasControls(const std::wstring& text)
{
    return std::ranges::any_of(text, platform::IsControl);
}

std::wstring Hex(wchar_t character)
{
    return fmt::format(L"\\x{:02x}", static_cast<unsigned>(character));
}

/// What stands between the quotes.
std::wstring Escaped(const std::wstring& name)
{
    std::wstring escaped;
    for (const wchar_t character : name) {
        if (character == L'"' || character == L'\\')
            escaped += {L'\\', character};
        else
            escaped += platform::IsControl(character) ? Hex(character) : std::wstring(1, character);
    }
    return escaped;
}

} // namespace

std::wstring ShownName(const std::wstring& name)
{
    return HasControls(name) ? L"\"" + Escaped(name) + L"\"" : name;
}

std::wstring ShownText(const STextCode& code, std::vector<std::wstring> arguments)
{
    for (std::wstring& argument : arguments) {
        if (HasControls(argument))
            argument = Escaped(argument);
    }
    return WQ_ModuleText(code, arguments);
}

std::wstring OneLine(std::wstring text)
{
    std::ranges::replace_if(text, platform::IsControl, L' ');
    return text;
}

std::wstring Printable(const std::wstring& text)
{
    std::wstring printable;
    for (const wchar_t character : text) {
        const bool isKept = character == L'\n' || character == L'\t' || !platform::IsControl(character);
        printable += isKept ? std::wstring(1, character) : Hex(character);
    }
    return printable;
}
