#include "apps/zel-server/MetricsText.h"

#include "platform/Text.h"

#include <array>
#include <chrono>
#include <fmt/format.h>
#include <map>
#include <string_view>
#include <utility>

namespace {

/// What others have named may hold anything.
std::string Escaped(const std::wstring& text)
{
    std::string escaped;
    for (const char byte : platform::ToUtf8(text)) {
        if (byte == '\\' || byte == '"')
            escaped += '\\';
        if (byte == '\n')
            escaped += "\\n";
        else
            escaped += byte;
    }
    return escaped;
}

double InSeconds(std::chrono::nanoseconds time)
{
    return std::chrono::duration<double>(time).count();
}

class CMetrics {
public:
    explicit CMetrics(const std::wstring& server) : m_label("server=\"" + Escaped(server) + '"') {}

    void Family(std::string_view name, std::string_view type, std::string_view help)
    {
        m_text += fmt::format("# HELP {0} {2}\n# TYPE {0} {1}\n", name, type, help);
    }
    template <class Value>
    void Add(std::string_view name, Value value, const std::string& labels = {})
    {
        m_text += fmt::format("{}{{{}{}{}}} {}\n", name, m_label, labels.empty() ? "" : ",", labels, value);
    }
    template <class Value>
    void One(std::string_view name, std::string_view type, std::string_view help, Value value)
    {
        Family(name, type, help);
        Add(name, value);
    }
    void Times(const std::string& name, std::string_view help, const SZelTimes& times)
    {
        Family(name, "histogram", help);
        std::uint64_t count = 0;
        for (std::size_t place = 0; place < times.counts.size(); ++place) {
            count += times.counts[place];
            const std::string limit =
                place < SZelTimes::kLimitsMs.size()
                    ? fmt::format("{}", InSeconds(std::chrono::milliseconds(SZelTimes::kLimitsMs[place])))
                    : "+Inf";
            Add(name + "_bucket", count, "le=\"" + limit + '"');
        }
        Add(name + "_sum", InSeconds(times.sum));
        Add(name + "_count", count);
    }
    [[nodiscard]] std::string Take() { return std::move(m_text); }

private:
    const std::string m_label;
    std::string m_text;
};

void AddRequests(CMetrics& metrics, const SZelServerFigures& figures)
{
    // One that is not known may be called as one that somebody has named: no line may stand there twice.
    std::map<std::wstring, std::array<std::uint64_t, 3>> byType;
    for (const SZelTypeFigures& type : figures.types) {
        auto& counts = byType[type.type.empty() ? L"unknown" : type.type];
        counts[0] += type.done;
        counts[1] += type.failed;
        counts[2] += type.canceled;
    }
    constexpr const char* kName = "zel_requests_total";
    metrics.Family(kName, "counter", "Requests that have ended, by type of task and outcome.");
    for (const auto& [type, counts] : byType) {
        constexpr std::array kOutcomes = {"done", "failed", "cancelled"};
        for (std::size_t outcome = 0; outcome < kOutcomes.size(); ++outcome)
            metrics.Add(kName, counts[outcome],
                        fmt::format(R"(type="{}",outcome="{}")", Escaped(type), kOutcomes[outcome]));
    }
}

} // namespace

std::string MetricsText(const SZelServerFigures& figures, const SMetricsFacts& facts)
{
    CMetrics metrics(facts.outputDir);
    metrics.One("zel_server_up", "gauge", "1 while the server serves, 0 when it has stopped in good order.",
                facts.isUp ? 1 : 0);
    metrics.Family("zel_server_info", "gauge", "What the server is; always 1.");
    metrics.Add("zel_server_info", 1, "version=\"" + Escaped(facts.version) + '"');
    metrics.One("zel_server_start_time_seconds", "gauge", "When the server was started, in seconds since 1970.",
                facts.started);
    AddRequests(metrics, figures);
    metrics.One("zel_requests_received_total", "counter", "Requests that were taken into the queue.", figures.received);
    metrics.One("zel_requests_refused_total", "counter", "Requests that were refused, for too many waited.",
                figures.refused);
    metrics.Times("zel_request_wait_seconds", "How long requests waited until the run began that ended them.",
                  figures.waiting);
    metrics.Times("zel_request_run_seconds", "How long the runs took that ended requests.", figures.running);
    metrics.One("zel_queue_length", "gauge", "Requests that wait.", figures.waitingCount);
    metrics.One("zel_queue_paused", "gauge", "Requests that are paused.", figures.pausedCount);
    metrics.One("zel_queue_held", "gauge", "1 while nothing is started until the queue is released.",
                figures.isHeld ? 1 : 0);
    metrics.One("zel_slots", "gauge", "How many requests may run at once.", figures.slots);
    metrics.One("zel_slots_busy", "gauge", "How many requests run.", figures.runs.size());
    metrics.One("zel_task_host_restarts_total", "counter", "Processes of tasks that took the place of another one.",
                figures.taskHostRestarts);
    metrics.One("zel_clients", "gauge", "Clients that are registered for events.", figures.clientCount);
    metrics.One("zel_events_total", "counter", "Changes of data that clients were to be told.", figures.events);
    metrics.One("zel_request_bytes_total", "counter", "Bytes of the requests that were run.", figures.bytesRead);
    metrics.One("zel_response_bytes_total", "counter", "Bytes of the responses.", figures.bytesWritten);
    metrics.One("zel_request_directory_scans_total", "counter", "How often the request directory was listed.",
                figures.scans);
    return metrics.Take();
}
