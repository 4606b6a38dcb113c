#pragma once

#include <cstdint>

/// Some microseconds of work that needs nothing but a processor; each step waits for the one before.
inline std::uint64_t ComputeRound(std::uint64_t number)
{
    constexpr int kSteps = 1000;
    for (int step = 0; step < kSteps; ++step)
        number = (number ^ (number >> 29U)) * 0xBF58476D1CE4E5B9U + 1;
    return number;
}
