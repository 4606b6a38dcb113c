#include "apps/zel-server/OperatorText.h"

#include <algorithm>
#include <cwctype>
#include <span>
#include <string_view>

namespace {

struct SPhrase {
    std::wstring_view known;
    std::wstring_view told;
};

/// Functions whose messages say what is wrong and not with what.
constexpr SPhrase kLeads[] = {
    {L"CZelProcessorServer::MessageHandling", L"The server's listener has ended: "},
    {L"CZelProcessorServer::Executive", L"The server's executive has ended: "},
    {L"CZelProcessorServer::RegisterNewClient", L"A client cannot be registered: "},
};

/// How messages begin that are words of a programmer.
constexpr SPhrase kBeginnings[] = {
    {L"FindFirstChangeNotification failed.\n", L"The request directory cannot be watched for changes: "},
    {L"FindNextChangeNotification failed.\n", L"The request directory cannot be watched for changes: "},
    {L"!CFileTools::FileExists(csDsEventsFile)\n", L"its file of events is missing\n"},
    {L"!CFileTools::FileExists(csInsertableItemsChangeFile)\n", L"its file of changed groups is missing\n"},
    {L"Timeout expired", L"A lock file was held by somebody else for 2 seconds"},
};

const SPhrase* Find(std::span<const SPhrase> phrases, std::wstring_view text)
{
    const auto found =
        std::ranges::find_if(phrases, [text](const SPhrase& phrase) { return text.starts_with(phrase.known); });
    return found == phrases.end() ? nullptr : &*found;
}

/// "CClass::Function : text" and "CClass::Function - text" without what is before the text.
std::wstring_view WithoutFunction(std::wstring_view text)
{
    const std::size_t end = std::min(text.find_first_of(L" \n"), text.size());
    const bool isFunction = text.starts_with(L'C') && text.substr(0, end).find(L"::") != std::wstring_view::npos;
    const std::size_t rest = isFunction ? text.find_first_not_of(L" :-", end) : std::wstring_view::npos;
    return rest == std::wstring_view::npos ? text : text.substr(rest);
}

} // namespace

std::wstring OperatorText(const std::wstring& function, const std::wstring& message)
{
    const SPhrase* const lead = Find(kLeads, function);
    const std::wstring_view text = WithoutFunction(message);
    const SPhrase* const beginning = Find(kBeginnings, text);
    std::wstring told(lead != nullptr ? lead->told : std::wstring_view());
    told += beginning != nullptr ? beginning->told : std::wstring_view();
    told += beginning != nullptr ? text.substr(beginning->known.size()) : text;
    if (!told.empty() && told != message) // a sentence of its own may begin with the name of a file
        told.front() = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(told.front())));
    return told;
}
