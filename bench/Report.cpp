#include "bench/Report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>

namespace {

constexpr double kBytesPerMb = 1024.0 * 1024.0;
constexpr double kMedian = 0.5;
constexpr double kTail = 0.99;

double Rounded(double value)
{
    return std::round(value * 100.0) / 100.0;
}

nlohmann::ordered_json NumberOrNull(const std::optional<double>& value)
{
    return value ? nlohmann::ordered_json(Rounded(*value)) : nlohmann::ordered_json(nullptr);
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

} // namespace

std::string TableOf(const SBenchResult& result)
{
    std::string table;
    if (!result.rows.empty())
        table = fmt::format("{:<13}{:<5}{:>10}{:>10}{:>11}{:>9}{:>10}{:>11}{:>9}{:>7}{:>7}\n", "row", "sync", "p50 us",
                            "p99 us", "per s", "cpu us", "bare p50", "bare per s", "bare cpu", "p50 x", "rate x");
    for (const SBenchRow& row : result.rows)
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
    const nlohmann::ordered_json object = {{"rows", rows},
                                           {"idle_cpu_percent", NumberOrNull(result.idleServerPercent)},
                                           {"idle_client_cpu_percent", NumberOrNull(result.idleClientPercent)},
                                           {"server_peak_mb", NumberOrNull(PeakMb(result))}};
    return object.dump() + "\n";
}
