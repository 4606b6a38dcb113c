#pragma once

#include "bench/BenchRows.h"

#include <string>

/// What is measured now, for who waits; and what went wrong beside it.
void TellProgress(const std::string& text);

/// The result as a table for people.
[[nodiscard]] std::string TableOf(const SBenchResult& result);
/// The result as one JSON object on one line; null where a field does not apply.
[[nodiscard]] std::string JsonOf(const SBenchResult& result);
