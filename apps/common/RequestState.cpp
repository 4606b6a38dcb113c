#include "apps/common/RequestState.h"

#include "ZEL_Processor/zel/Status.h"
#include "apps/common/ShownText.h"
#include "framework/texts/TextTable.h"
#include "platform/Text.h"

#include "CommonTexts.h"

#include <algorithm>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/xchar.h>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

namespace {

/// The words for the statuses, from eRequestStatus_NotIntialized on.
constexpr const STextCode* kStatusWords[] = {
    &CommonTexts::IDS_STATE_UNKNOWN,      &CommonTexts::IDS_STATE_CLIENT_ERROR,
    &CommonTexts::IDS_STATE_SERVER_ERROR, &CommonTexts::IDS_STATE_SERVER_TIMEOUT,
    &CommonTexts::IDS_STATE_SENT,         &CommonTexts::IDS_STATE_NOT_REQUESTED,
    &CommonTexts::IDS_STATE_WAITING,      &CommonTexts::IDS_STATE_PROCESSING_STARTED,
    &CommonTexts::IDS_STATE_PARSING,      &CommonTexts::IDS_STATE_CALCULATING,
    &CommonTexts::IDS_STATE_GETTING_DATA, &CommonTexts::IDS_STATE_PREPARING_RESPONSE,
    &CommonTexts::IDS_STATE_CANCELED,     &CommonTexts::IDS_STATE_PAUSED,
    &CommonTexts::IDS_STATE_DONE,
};
static_assert(std::size(kStatusWords) == eRequestStatus_Last - eRequestStatus_NotIntialized);

/// Texts of the system that say what a status says already.
constexpr std::string_view kSayNoMore[] = {
    "IDS_REQUEST_CANCELED",
    "IDS_READING_REQUEST",
    "IDS_GETTING_DATA",
    "IDS_PREPARING_RESPONSE",
    "IDS_DONE",
    "IDS_WAITING_IN_QUEUE",
    "IDS_PROCESSING_STARTED",
    "IDS_CANCELED",
    "IDS_PAUSED",
};

/// Texts that say in words of their own, up to their colon if they have one, what a status says and more.
constexpr std::string_view kSayItThemselves[] = {
    "IDS_PROCESSING_AGAIN",
    "IDS_ENDED_AGAIN",
    "IDS_WAITING_TO_RECEIVE_REQ",
};

constexpr std::wstring_view kBlanks = L" \u00a0\u202f"; // French has a narrow one before its colon
constexpr std::wstring_view kWordEnds = L" \u00a0\u202f\t\r\n:;,.!?()\u2026";

/// True for one of these texts of the system in any language: the server may speak another one.
template <std::size_t Count, class Match>
bool IsSystemText(const std::string_view (&codeNames)[Count], Match&& isMatch)
{
    for (const std::string& language : CTextTable::Languages(CTextTable::kSystemModule)) {
        for (const auto& [id, entry] : CTextTable::Find(CTextTable::kSystemModule, language)->Entries()) {
            if (std::ranges::count(codeNames, entry.codeName) != 0 && isMatch(entry.text))
                return true;
        }
    }
    return false;
}

bool SaysMoreThanStatus(const std::wstring& comment)
{
    return !comment.empty() && !IsSystemText(kSayNoMore, [&](const std::wstring& text) { return text == comment; });
}

/// Where the word ends that the comment begins with, blanks and letter case apart; 0 when it begins with another one.
std::size_t EndOfWord(std::wstring_view comment, std::wstring_view word)
{
    const auto skipBlanks = [](std::wstring_view text, std::size_t at) {
        return std::min(text.find_first_not_of(kBlanks, at), text.size());
    };
    std::size_t at = 0;
    for (std::size_t letter = 0; letter < word.size(); letter = skipBlanks(word, letter + 1), ++at) {
        at = skipBlanks(comment, at);
        if (at == comment.size() || !platform::EqualsNoCase(comment.substr(at, 1), word.substr(letter, 1)))
            return 0;
    }
    return at == comment.size() || kWordEnds.find(comment[at]) != std::wstring_view::npos ? at : 0;
}

/// "Server error: the disk is full" begins with what the status says, in any language; it ends where the text behind
/// the colon begins. 0 for a comment without such a beginning, and for one that is nothing else.
std::size_t EndOfLabel(std::wstring_view comment, const STextCode& word)
{
    for (const std::string& language : CTextTable::Languages(word.module->name)) {
        const std::size_t end =
            EndOfWord(comment, CTextTable::Find(word.module->name, language)->FindEntry(word.id)->text);
        const std::size_t colon = end == 0 ? comment.npos : comment.find_first_not_of(kBlanks, end);
        if (colon == comment.npos || comment[colon] != L':')
            continue;
        const std::size_t text = comment.find_first_not_of(kBlanks, colon + 1);
        return text == comment.npos ? 0 : text;
    }
    return 0;
}

bool IsKnown(eZelProcRequestStatus status)
{
    return status >= eRequestStatus_NotIntialized && status < eRequestStatus_Last;
}

std::size_t EndOfLabel(const SRequestState& state)
{
    if (!IsKnown(state.status))
        return 0;
    const STextCode& word = *kStatusWords[state.status - eRequestStatus_NotIntialized];
    CTextTable::Register(*word.module);
    return EndOfLabel(state.comment, word);
}

/// The comment tells the status in the words of whoever reads it, or in those of a text that means to.
bool TellsStatus(const std::wstring& comment, const std::wstring& word)
{
    return EndOfWord(comment, word) != 0 || IsSystemText(kSayItThemselves, [&](const std::wstring& text) {
               return comment.starts_with(text.substr(0, text.find(L':')));
           });
}

/// Null for a time that is not known, and for one that the system's calendar does not have (on Windows, before 1970).
nlohmann::ordered_json TimeOrNull(const std::optional<std::int64_t>& time)
{
    if (!time)
        return {};
    try {
        return fmt::format("{:%FT%TZ}", fmt::gmtime(static_cast<std::time_t>(*time)));
    } catch (const fmt::format_error&) {
        return {};
    }
}

template <class Number>
nlohmann::ordered_json NumberOrNull(const std::optional<Number>& number)
{
    return number ? nlohmann::ordered_json(*number) : nlohmann::ordered_json();
}

void AddFiles(nlohmann::ordered_json& object, const SRequestFiles& files)
{
    object["position"] = NumberOrNull(files.position);
    object["size"] = NumberOrNull(files.size);
    object["owner"] =
        files.owner.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(platform::ToUtf8(files.owner));
}

} // namespace

SRequestState MakeState(const std::wstring& name, eZelProcRequestStatus status,
                        const CZelProcessorClient::CAdditionalRequestStatus& additional)
{
    SRequestState state;
    state.name = name;
    state.status = status;
    state.comment = additional.GetProgressComment();
    if (long percent = 0; additional.GetProgress(percent) != 0 && percent >= 0)
        state.percent = static_cast<std::int32_t>(percent);
    if (CTime created; additional.GetTimeCreated(created) != 0)
        state.created = created.GetTime();
    if (CTime modified; additional.GetTileModifyed(modified) != 0)
        state.modified = modified.GetTime();
    return state;
}

SRequestState ReadState(CZelProcessorClient& client, const std::wstring& name)
{
    CZelProcessorClient::CAdditionalRequestStatus additional;
    const eZelProcRequestStatus status = client.GetStatus(name, &additional);
    return MakeState(name, status, additional);
}

std::wstring ToJson(const SRequestState& state)
{
    nlohmann::ordered_json object;
    object["name"] = platform::ToUtf8(state.name);
    object["status"] = static_cast<std::int32_t>(state.status);
    object["statusName"] = platform::ToUtf8(EnumToName(state.status, GetRequestStatusNames()));
    object["state"] = zel::nameOf(static_cast<zel::State>(state.status));
    object["percent"] = state.percent ? nlohmann::ordered_json(*state.percent) : nlohmann::ordered_json();
    object["comment"] = platform::ToUtf8(state.comment);
    object["created"] = TimeOrNull(state.created);
    object["modified"] = TimeOrNull(state.modified);
    if (state.age)
        object["age"] = *state.age;
    if (state.stage) {
        object["since"] = TimeOrNull(state.stage->since);
        object["slot"] = NumberOrNull(state.stage->slot);
    }
    if (state.files)
        AddFiles(object, *state.files);
    return platform::FromUtf8(object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

std::wstring ToText(const SRequestState& state)
{
    const std::wstring word = StatusWord(state.status);
    const bool hasPercent = state.percent && state.status != eRequestStatus_Done;
    const bool hasComment = SaysMoreThanStatus(state.comment);
    std::wstring text = ShownName(state.name) + L":";
    if (!hasPercent && hasComment && TellsStatus(state.comment, word)) {
        text += L" " + OneLine(state.comment);
    } else {
        text += L" " + word;
        if (hasPercent)
            text += L" " + std::to_wstring(*state.percent) + L" %";
        else if (hasComment && EndOfLabel(state) != 0)
            text += L":";
        if (hasComment)
            text += L" " + CommentText(state);
    }
    if (state.age)
        text += L" (" + AgeText(*state.age) + L")";
    return text;
}

std::wstring CommentText(const SRequestState& state)
{
    return SaysMoreThanStatus(state.comment) ? OneLine(state.comment.substr(EndOfLabel(state))) : std::wstring();
}

std::wstring AgeText(std::int64_t seconds)
{
    // From two of a unit on in that one: "1 d" could be nearly two.
    const std::pair<std::int64_t, const STextCode*> units[] = {{86'400, &CommonTexts::IDS_AGE_DAYS},
                                                               {3'600, &CommonTexts::IDS_AGE_HOURS},
                                                               {60, &CommonTexts::IDS_AGE_MINUTES}};
    for (const auto& [length, code] : units) {
        if (seconds >= 2 * length)
            return WQ_ModuleText(*code, {std::to_wstring(seconds / length)});
    }
    return WQ_ModuleText(CommonTexts::IDS_AGE_SECONDS, {std::to_wstring(seconds)});
}

std::wstring StatusWord(eZelProcRequestStatus status)
{
    if (!IsKnown(status))
        return EnumToName(status, GetRequestStatusNames());
    return WQ_ModuleText(*kStatusWords[status - eRequestStatus_NotIntialized]);
}

eExitCode ExitCodeOf(eZelProcRequestStatus status)
{
    switch (status) {
    case eRequestStatus_NotIntialized:
    case eRequestStatus_ClientError: return eExitCode_ClientError;
    case eRequestStatus_ServerError: return eExitCode_ServerError;
    case eRequestStatus_ServerTimeout: return eExitCode_ServerTimeout;
    case eRequestStatus_NotRequested: return eExitCode_NotRequested;
    case eRequestStatus_Canceled: return eExitCode_Canceled;
    default: return eExitCode_Done;
    }
}
