#include "apps/common/RequestState.h"

#include "platform/Text.h"

#include "CommonTexts.h"

#include <ctime>
#include <fmt/chrono.h>
#include <iterator>
#include <nlohmann/json.hpp>

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
    object["percent"] = state.percent ? nlohmann::ordered_json(*state.percent) : nlohmann::ordered_json();
    object["comment"] = platform::ToUtf8(state.comment);
    object["created"] = TimeOrNull(state.created);
    object["modified"] = TimeOrNull(state.modified);
    return platform::FromUtf8(object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

std::wstring ToText(const SRequestState& state)
{
    std::wstring text = OneLine(state.name) + L": " + StatusWord(state.status);
    if (state.percent)
        text += L" " + std::to_wstring(*state.percent) + L" %";
    if (!state.comment.empty())
        text += L" " + OneLine(state.comment);
    return text;
}

std::wstring StatusWord(eZelProcRequestStatus status)
{
    if (status < eRequestStatus_NotIntialized || status >= eRequestStatus_Last)
        return EnumToName(status, GetRequestStatusNames());
    return WQ_ModuleText(*kStatusWords[status - eRequestStatus_NotIntialized]);
}

std::wstring OneLine(std::wstring text)
{
    for (wchar_t& character : text) {
        if (character < L' ' || (character >= L'\x7f' && character < L'\xa0'))
            character = L' ';
    }
    return text;
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
