#pragma once

#include "bench/BenchRows.h"

#include <string>

/// Measures the rows that hold one server of the library against another. directory: an existing one.
void RunPairRows(const SBenchOptions& options, const std::wstring& directory, SBenchResult& result);
