#pragma once

#include <cstddef>
#include <cstdint>

namespace sim {

/// Numbers that follow from a seed alone, on every machine and with every library (SplitMix64).
class CRandom {
public:
    explicit CRandom(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t Next()
    {
        m_state += 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = m_state;
        mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31U);
    }
    /// 0 to count - 1.
    std::size_t Below(std::size_t count) { return static_cast<std::size_t>(Next() % count); }
    bool OneIn(std::size_t count) { return Below(count) == 0; }

private:
    std::uint64_t m_state;
};

} // namespace sim
