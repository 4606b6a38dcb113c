#include "bench/Report.h"

#include "platform/Process.h"
#include "platform/Text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace {

constexpr double kBytesPerMb = 1024.0 * 1024.0;

double Rounded(double value)
{
    return std::round(value * 100.0) / 100.0;
}

nlohmann::ordered_json NumberOrNull(const std::optional<double>& value)
{
    return value && std::isfinite(*value) ? nlohmann::ordered_json(Rounded(*value)) : nlohmann::ordered_json(nullptr);
}

std::optional<double> CpuOf(const SBenchRow& row, const CSeries& series)
{
    return row.hasServer ? std::optional(series.CpuMicroseconds()) : std::nullopt;
}

std::string Text(const std::optional<double>& value)
{
    return value ? fmt::format("{:.1f}", *value) : "-";
}

/// The library's number by the bare one's.
std::string Ratio(const std::optional<double>& library, const std::optional<double>& bare)
{
    return library && bare && *bare > 0 ? fmt::format("{:.2f}", *library / *bare) : "-";
}

std::optional<double> PeakMb(const SBenchResult& result)
{
    if (result.serverPeakBytes == 0)
        return std::nullopt;
    return static_cast<double>(result.serverPeakBytes) / kBytesPerMb;
}

std::string LineOf(const SBenchRow& row)
{
    const auto median = row.library.Percentile(kMedian);
    const auto bareMedian = row.bare.Percentile(kMedian);
    return fmt::format("{:<13}{:<5}{:>10}{:>10}{:>11.0f}{:>9}{:>10}{:>11.0f}{:>9}{:>7}{:>7}\n", row.name,
                       row.syncing ? "on" : "off", Text(median), Text(row.library.Percentile(kTail)),
                       row.library.PerSecond(), Text(CpuOf(row, row.library)), Text(bareMedian), row.bare.PerSecond(),
                       Text(CpuOf(row, row.bare)), Ratio(median, bareMedian),
                       Ratio(row.library.PerSecond(), row.bare.PerSecond()));
}

/// Of the other server; nothing where there was none.
std::optional<double> OfBase(const SPairRow& row, std::optional<double> value)
{
    return row.base.Requests() == 0 ? std::nullopt : value;
}

const char* NameOf(eFigure figure)
{
    switch (figure) {
    case eFigure_RateRatio: return "rate x";
    case eFigure_CpuRatio: return "cpu x";
    case eFigure_AddedP50: return "p50 + us";
    case eFigure_P99Of: return "p99 us";
    }
    return "";
}

const char* WordOf(eFigure figure)
{
    switch (figure) {
    case eFigure_RateRatio: return "rate_ratio";
    case eFigure_CpuRatio: return "cpu_ratio";
    case eFigure_AddedP50: return "added_p50_us";
    case eFigure_P99Of: return "p99_us";
    }
    return "";
}

std::string WantedOf(const SPairRow& row)
{
    return row.wanted ? fmt::format("{} {:g}", row.figure == eFigure_RateRatio ? ">=" : "<=", *row.wanted) : "-";
}

std::string LineOf(const SPairRow& row)
{
    return fmt::format("{:<21}{:<5}{:>10}{:>9}{:>10}{:>9}{:>10}{:>10.2f}{:>10}{:>5}\n", row.name,
                       row.syncing ? "on" : "off", Text(row.subject.Percentile(kMedian)), Text(row.subject.PerSecond()),
                       Text(row.base.Percentile(kMedian)), Text(OfBase(row, row.base.PerSecond())), NameOf(row.figure),
                       row.value, WantedOf(row),
                       !row.wanted   ? ""
                       : row.IsMet() ? "yes"
                                     : "no");
}

} // namespace

void TellProgress(const std::string& text)
{
    platform::WriteConsoleText(platform::eStream_Error, platform::FromUtf8("zel-bench: " + text + "\n"));
}

std::string TableOf(const SBenchResult& result)
{
    std::string table;
    if (!result.rows.empty())
        table = fmt::format("{:<13}{:<5}{:>10}{:>10}{:>11}{:>9}{:>10}{:>11}{:>9}{:>7}{:>7}\n", "row", "sync", "p50 us",
                            "p99 us", "per s", "cpu us", "bare p50", "bare per s", "bare cpu", "p50 x", "rate x");
    for (const SBenchRow& row : result.rows)
        table += LineOf(row);
    if (!result.pairs.empty())
        table += fmt::format("{:<21}{:<5}{:>10}{:>9}{:>10}{:>9}{:>10}{:>10}{:>10}{:>5}\n", "against another", "sync",
                             "p50 us", "per s", "other p50", "per s", "figure", "median", "wanted", "met");
    for (const SPairRow& row : result.pairs)
        table += LineOf(row);
    if (result.idleServerPercent)
        table += fmt::format("idle server {:.3f} %, listening client {:.3f} % of a core\n", *result.idleServerPercent,
                             result.idleClientPercent.value_or(0));
    if (const auto peak = PeakMb(result))
        table += fmt::format("server's peak memory {:.1f} MB\n", *peak);
    return table;
}

std::string JsonOf(const SBenchResult& result)
{
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (const SBenchRow& row : result.rows) {
        rows.push_back({{"name", row.name},
                        {"sync", row.syncing},
                        {"requests", row.library.Requests()},
                        {"p50_us", NumberOrNull(row.library.Percentile(kMedian))},
                        {"p99_us", NumberOrNull(row.library.Percentile(kTail))},
                        {"per_second", NumberOrNull(row.library.PerSecond())},
                        {"cpu_us", NumberOrNull(CpuOf(row, row.library))},
                        {"bare_p50_us", NumberOrNull(row.bare.Percentile(kMedian))},
                        {"bare_per_second", NumberOrNull(row.bare.PerSecond())},
                        {"bare_cpu_us", NumberOrNull(CpuOf(row, row.bare))}});
    }
    nlohmann::ordered_json pairs = nlohmann::ordered_json::array();
    for (const SPairRow& row : result.pairs) {
        pairs.push_back({{"name", row.name},
                         {"sync", row.syncing},
                         {"requests", row.subject.Requests()},
                         {"p50_us", NumberOrNull(row.subject.Percentile(kMedian))},
                         {"p99_us", NumberOrNull(row.subject.Percentile(kTail))},
                         {"per_second", NumberOrNull(row.subject.PerSecond())},
                         {"cpu_us", NumberOrNull(row.subject.CpuMicroseconds())},
                         {"other_p50_us", NumberOrNull(row.base.Percentile(kMedian))},
                         {"other_per_second", NumberOrNull(OfBase(row, row.base.PerSecond()))},
                         {"other_cpu_us", NumberOrNull(OfBase(row, row.base.CpuMicroseconds()))},
                         {"figure", WordOf(row.figure)},
                         {"value", NumberOrNull(row.value)},
                         {"wanted", NumberOrNull(row.wanted)},
                         {"met", row.IsMet()}});
    }
    const nlohmann::ordered_json object = {{"rows", rows},
                                           {"pairs", pairs},
                                           {"idle_cpu_percent", NumberOrNull(result.idleServerPercent)},
                                           {"idle_client_cpu_percent", NumberOrNull(result.idleClientPercent)},
                                           {"server_peak_mb", NumberOrNull(PeakMb(result))}};
    return object.dump() + "\n";
}
