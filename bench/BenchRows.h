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

struct SBenchResult {
    std::vector<SBenchRow> rows;
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
    [[nodiscard]] std::size_t Count(std::size_t full) const;
    [[nodiscard]] std::wstring Root(const std::wstring& name) const;

    const SBenchOptions& m_options;
    std::wstring m_root;
};
