#include "apps/zel-server/FiguresJson.h"

#include "platform/Text.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

namespace {

using Json = nlohmann::ordered_json;

constexpr int kFormatVersion = 1;

Json TextToJson(const std::wstring& text)
{
    return platform::ToUtf8(text);
}

/// Times as the page has them.
class CPageTime {
public:
    explicit CPageTime(const SFigureFacts& facts) : m_now(facts.now), m_steadyNow(facts.steadyNow) {}

    [[nodiscard]] Json At(std::chrono::nanoseconds time) const
    {
        return m_now - std::chrono::duration_cast<std::chrono::milliseconds>(m_steadyNow - time).count();
    }

private:
    const std::int64_t m_now;
    const std::chrono::nanoseconds m_steadyNow;
};

Json MsToJson(std::chrono::nanoseconds time)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

Json PercentilesToJson(const SZelTimes& times)
{
    Json array = Json::array();
    for (const double share : {0.5, 0.95, 0.99}) {
        const auto time = Percentile(times, share);
        array.push_back(time ? Json(time->count()) : Json());
    }
    return array;
}

Json SpaceToJson(const std::optional<platform::SDiskSpace>& space)
{
    return {{"free", space ? Json(space->available) : Json()}, {"total", space ? Json(space->total) : Json()}};
}

Json ServerToJson(const SZelServerFigures& figures, const SFigureFacts& facts)
{
    Json plugins = Json::array();
    for (const SFigureFacts::SPlugin& plugin : facts.plugins)
        plugins.push_back({{"name", TextToJson(plugin.name)}, {"version", ""}, {"state", TextToJson(plugin.state)}});
    return {{"version", TextToJson(facts.version)},
            {"host", TextToJson(facts.host)},
            {"pid", facts.process},
            {"since", facts.started * 1000},
            {"requests", TextToJson(facts.requestDir)},
            {"output", TextToJson(facts.outputDir)},
            {"slots", figures.slots},
            {"plugins", std::move(plugins)}};
}

Json RunToJson(const SZelRunningFigures& run, const std::optional<SExpectedEnd>& end, const CPageTime& time)
{
    Json expected;
    if (end)
        expected = {{"earliest", time.At(end->earliest)}, {"latest", time.At(end->latest)}};
    return {{"name", TextToJson(run.name)},       {"type", TextToJson(run.type)},
            {"client", TextToJson(run.client)},   {"slot", run.slot},
            {"since", time.At(run.since)},        {"percent", run.percent},
            {"comment", TextToJson(run.comment)}, {"rate_end", std::move(expected)}};
}

const char* OutcomeWord(eZelProcRequestStatus outcome)
{
    switch (outcome) {
    case eRequestStatus_Done: return "done";
    case eRequestStatus_ServerError: return "failed";
    default: return "cancelled";
    }
}

/// All lists of what others send.
void AddRequests(Json& object, const SZelServerFigures& figures, const CFigureHistory& history, const CPageTime& time)
{
    object["running"] = Json::array();
    for (const SZelRunningFigures& run : figures.runs)
        object["running"].push_back(RunToJson(run, history.EndOf(run), time));
    object["waiting"] = {{"count", figures.waitingCount}, {"first", Json::array()}};
    for (const SZelWaitingFigures& request : figures.firstWaiting)
        object["waiting"]["first"].push_back({{"name", TextToJson(request.name)},
                                              {"type", ""}, // nobody has read it so far
                                              {"client", TextToJson(request.client)},
                                              {"priority", request.priority},
                                              {"since", time.At(request.since)}});
    object["paused"] = Json::array();
    for (const SZelWaitingFigures& request : figures.paused)
        object["paused"].push_back({{"name", TextToJson(request.name)}, {"since", time.At(request.since)}});
    object["held"] = figures.isHeld;
    object["failed"] = Json::array();
    for (const SZelEndedFigures& request : figures.failed)
        object["failed"].push_back({{"name", TextToJson(request.name)},
                                    {"type", TextToJson(request.type)},
                                    {"when", time.At(request.when)},
                                    {"reason", TextToJson(request.reason)}});
    object["answers"] = Json::array();
    for (const SZelEndedFigures& request : figures.ended)
        object["answers"].push_back({{"name", TextToJson(request.name)},
                                     {"type", TextToJson(request.type)},
                                     {"when", time.At(request.when)},
                                     {"waited_ms", MsToJson(request.waited)},
                                     {"ran_ms", MsToJson(request.ran)},
                                     {"outcome", OutcomeWord(request.outcome)}});
    object["clients"] = Json::array();
    for (const SZelClientFigures& client : figures.clients)
        object["clients"].push_back({{"name", TextToJson(client.id)}, {"since", time.At(client.since)}});
}

void AddCounts(Json& object, const SZelServerFigures& figures)
{
    Json types = Json::array();
    std::uint64_t done = 0;
    std::uint64_t failed = 0;
    std::uint64_t canceled = 0;
    for (const SZelTypeFigures& type : figures.types) {
        done += type.done;
        failed += type.failed;
        canceled += type.canceled;
        types.push_back({{"type", TextToJson(type.type)},
                         {"done", type.done},
                         {"failed", type.failed},
                         {"cancelled", type.canceled}});
    }
    object["totals"] = {{"done", done},
                        {"failed", failed},
                        {"cancelled", canceled},
                        {"events", figures.events},
                        {"bytes_read", figures.bytesRead},
                        {"bytes_written", figures.bytesWritten},
                        {"task_host_restarts", figures.taskHostRestarts},
                        {"received", figures.received},
                        {"refused", figures.refused},
                        {"scans", figures.scans},
                        {"paused", figures.pausedCount},
                        {"clients", figures.clientCount},
                        {"wait", PercentilesToJson(figures.waiting)},
                        {"run", PercentilesToJson(figures.running)}};
    object["types"] = std::move(types);
}

/// What a page could take for its own: in an object it stands in texts alone.
std::string ForPages(const std::string& json)
{
    std::string text;
    text.reserve(json.size());
    for (const char byte : json) {
        switch (byte) {
        case '<': text += "\\u003c"; break;
        case '>': text += "\\u003e"; break;
        case '&': text += "\\u0026"; break;
        default: text += byte;
        }
    }
    return text;
}

} // namespace

std::string FiguresJson(const SZelServerFigures& figures, const CFigureHistory& history, const SFigureFacts& facts)
{
    const CPageTime time(facts);
    Json object;
    object["version"] = kFormatVersion;
    object["written"] = facts.now;
    object["heartbeat"] = facts.heartbeat;
    object["ended"] = facts.hasEnded;
    object["language"] = TextToJson(facts.language);
    object["server"] = ServerToJson(figures, facts);
    object["disk"] = {{"requests", SpaceToJson(facts.requestSpace)}, {"output", SpaceToJson(facts.outputSpace)}};
    AddRequests(object, figures, history, time);
    AddCounts(object, figures);
    object["series"] = Json::array();
    for (const CFigureHistory::SInterval& interval : history.Intervals())
        object["series"].push_back({{"t", interval.start},
                                    {"done", interval.done},
                                    {"failed", interval.failed},
                                    {"wait", PercentilesToJson(interval.waiting)},
                                    {"run", PercentilesToJson(interval.running)}});
    return ForPages(object.dump(-1, ' ', true, Json::error_handler_t::replace));
}
