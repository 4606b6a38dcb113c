#include "apps/zel/StatsReport.h"

#include "apps/common/ShownText.h"
#include "apps/zel/ServerWatch.h"
#include "platform/Text.h"

#include "ToolTexts.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kMsPerSecond = 1000;

/// Whatever stands there, for anybody may have written it.
const Json& Member(const Json& object, const char* name)
{
    static const Json nothing;
    const auto found = object.is_object() ? object.find(name) : object.end();
    return found != object.end() ? *found : nothing;
}

std::uint64_t Count(const Json& object, const char* name)
{
    const Json& value = Member(object, name);
    return value.is_number_unsigned() ? value.get<std::uint64_t>() : 0;
}

std::int64_t Time(const Json& object, const char* name)
{
    return static_cast<std::int64_t>(std::min<std::uint64_t>(Count(object, name), std::uint64_t{1} << 60U));
}

SStatsReport::Percentiles PercentilesOf(const Json& array)
{
    SStatsReport::Percentiles percentiles;
    for (std::size_t place = 0; array.is_array() && place < std::min(array.size(), percentiles.size()); ++place) {
        if (array[place].is_number())
            percentiles[place] = array[place].get<double>();
    }
    return percentiles;
}

SStatsReport::SType Ends(const Json& object)
{
    SStatsReport::SType type;
    if (const Json& name = Member(object, "type"); name.is_string())
        type.name = platform::FromUtf8(name.get_ref<const std::string&>());
    type.done = Count(object, "done");
    type.failed = Count(object, "failed");
    type.canceled = Count(object, "cancelled");
    return type;
}

std::wstring TimeText(const std::optional<double>& ms)
{
    if (!ms)
        return L"-";
    return platform::FromUtf8(*ms < kMsPerSecond ? fmt::format("{:.0f} ms", *ms)
                                                 : fmt::format("{:.1f} s", *ms / kMsPerSecond));
}

std::wstring RateText(std::uint64_t count)
{
    return platform::FromUtf8(fmt::format("{:.2f}", static_cast<double>(count) / kMinute));
}

std::wstring TimesLine(const STextCode& code, const SStatsReport::Percentiles& times)
{
    return WQ_ModuleText(code, {TimeText(times[0]), TimeText(times[1]), TimeText(times[2])});
}

std::wstring EndsLine(const STextCode& code, const std::wstring& what, const SStatsReport::SType& type)
{
    return WQ_ModuleText(
        code, {what, std::to_wstring(type.done), std::to_wstring(type.failed), std::to_wstring(type.canceled)});
}

} // namespace

std::optional<SStatsReport> SStatsReport::FromJson(std::string_view bytes)
{
    const Json object = Json::parse(bytes, nullptr, false);
    if (object.is_discarded() || Count(object, "version") != 1)
        return std::nullopt;
    SStatsReport report;
    const Json& totals = Member(object, "totals");
    const Json& server = Member(object, "server");
    report.json = platform::FromUtf8(object.dump(-1, ' ', true, Json::error_handler_t::replace));
    report.written = Time(object, "written") / kMsPerSecond;
    report.since = Time(server, "since") / kMsPerSecond;
    report.all = Ends(totals);
    report.refused = Count(totals, "refused");
    report.events = Count(totals, "events");
    report.bytesRead = Count(totals, "bytes_read");
    report.bytesWritten = Count(totals, "bytes_written");
    report.restarts = Count(totals, "task_host_restarts");
    report.paused = Count(totals, "paused");
    report.clients = Count(totals, "clients");
    report.waiting = Count(Member(object, "waiting"), "count");
    report.running = Member(object, "running").size();
    report.slots = Count(server, "slots");
    report.wait = PercentilesOf(Member(totals, "wait"));
    report.run = PercentilesOf(Member(totals, "run"));
    for (const Json& type : Member(object, "types"))
        report.types.push_back(Ends(type));
    for (const Json& interval : Member(object, "series"))
        report.intervals.push_back({Time(interval, "t"), Count(interval, "done"), Count(interval, "failed")});
    return report;
}

std::wstring SStatsReport::ToText(std::int64_t now, bool hasNoServer) const
{
    std::uint64_t done = 0;
    std::uint64_t failed = 0;
    for (const SInterval& interval : intervals) {
        if (interval.start > now - kMinute && interval.start <= now) {
            done += interval.done;
            failed += interval.failed;
        }
    }
    std::vector<std::wstring> lines;
    if (hasNoServer)
        lines.push_back(WQ_ModuleText(ToolTexts::IDS_STATS_OF_DEAD, {LocalTimeText(written)}));
    lines.push_back(EndsLine(ToolTexts::IDS_STATS_TOTALS, LocalTimeText(since), all));
    lines.push_back(WQ_ModuleText(ToolTexts::IDS_STATS_RATES, {RateText(done), RateText(failed)}));
    lines.push_back(TimesLine(ToolTexts::IDS_STATS_WAIT, wait));
    lines.push_back(TimesLine(ToolTexts::IDS_STATS_RUN, run));
    lines.push_back(WQ_ModuleText(ToolTexts::IDS_STATS_NOW,
                                  {std::to_wstring(waiting), std::to_wstring(paused), std::to_wstring(running),
                                   std::to_wstring(slots), std::to_wstring(clients)}));
    lines.push_back(WQ_ModuleText(ToolTexts::IDS_STATS_OTHERS,
                                  {std::to_wstring(refused), std::to_wstring(events), std::to_wstring(bytesRead),
                                   std::to_wstring(bytesWritten), std::to_wstring(restarts)}));
    for (const SType& type : types)
        lines.push_back(EndsLine(ToolTexts::IDS_STATS_TYPE, type.name.empty() ? L"-" : type.name, type));
    std::wstring text;
    for (const std::wstring& line : lines)
        text += OneLine(line) + L"\n";
    return text;
}
