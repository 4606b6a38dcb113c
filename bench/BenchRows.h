#pragma once

#include "bench/BenchOptions.h"
#include "bench/Series.h"

#include <cstdint>
#include <string>

struct SBenchRow {
    std::string name;
    bool syncing = false;
    bool hasServer = false; ///< the server's processor time means something
    CSeries library;
    CSeries bare;
};

/// What one server of the library is measured by against another.
enum eFigure {
    eFigure_RateRatio, ///< requests in a second, by the other's
    eFigure_CpuRatio,  ///< processor time of a request, by the other's
    eFigure_AddedP50,  ///< microseconds more than the other's
    eFigure_P99Of,     ///< microseconds, of this one alone
};

/// Two servers of the library that take turns, or one alone.
struct SPairRow {
    std::string name;
    bool syncing = false;
    eFigure figure = eFigure_RateRatio;
    CSeries subject;
    CSeries base;                 ///< without requests where it is alone
    double value = 0;             ///< the median of all rounds
    std::optional<double> wanted; ///< a ratio of rates at least, the others at most

    [[nodiscard]] bool IsMet() const
    {
        return !wanted || (figure == eFigure_RateRatio ? value >= *wanted : value <= *wanted);
    }
};

struct SBenchResult {
    std::vector<SBenchRow> rows;
    std::vector<SPairRow> pairs;
    std::optional<double> idleServerPercent; ///< of one core
    std::optional<double> idleClientPercent;
    std::uint64_t serverPeakBytes = 0; ///< 0: no row looked
};

/// Measures what the options ask for. Throws when anything does not work as it should.
class CBenchRows {
public:
    explicit CBenchRows(const SBenchOptions& options);
    ~CBenchRows();
    CBenchRows(const CBenchRows&) = delete;
    CBenchRows& operator=(const CBenchRows&) = delete;

    void Run(SBenchResult& result);

private:
    struct SShape {
        const char* name;
        const char* command;
        std::size_t count; ///< of requests in one round
        std::size_t rounds;
        const wchar_t* server; ///< null: none
    };
    void RunRow(const SShape& shape, bool syncing, SBenchResult& result);
    void MeasurePeak(std::size_t requests, SBenchResult& result);
    void MeasureIdle(SBenchResult& result);
    [[nodiscard]] std::wstring Root(const std::wstring& name) const;

    const SBenchOptions& m_options;
    std::wstring m_root;
};
