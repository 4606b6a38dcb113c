#include "apps/common/RequestState.h"

#include "platform/Text.h"

#include <chrono>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace {

constexpr std::wstring_view kStatusPrefix = L"eRequestStatus_";

std::string ToIsoTime(std::int64_t seconds)
{
    using namespace std::chrono;
    const sys_seconds time{std::chrono::seconds(seconds)};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), clock.hours().count(),
                       clock.minutes().count(), clock.seconds().count());
}

nlohmann::ordered_json TimeOrNull(const std::optional<std::int64_t>& time)
{
    return time ? nlohmann::ordered_json(ToIsoTime(*time)) : nlohmann::ordered_json();
}

} // namespace

SRequestState MakeState(const std::wstring& name, eZelProcRequestStatus status,
                        const CZelProcessorClient::CAdditionalRequestStatus& additional)
{
    SRequestState state;
    state.name = name;
    state.status = status;
    state.comment = additional.GetProgressComment();
    if (std::int32_t percent = 0; additional.GetProgress(percent) != 0 && percent >= 0)
        state.percent = percent;
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
    std::wstring text = OneLine(state.name) + L": " + ShortStatusName(state.status);
    if (state.percent)
        text += L" " + std::to_wstring(*state.percent) + L" %";
    if (!state.comment.empty())
        text += L" " + OneLine(state.comment);
    return text;
}

std::wstring ShortStatusName(eZelProcRequestStatus status)
{
    const std::wstring name = EnumToName(status, GetRequestStatusNames());
    return name.starts_with(kStatusPrefix) ? name.substr(kStatusPrefix.size()) : name;
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
