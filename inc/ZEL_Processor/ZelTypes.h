#pragma once

#include <cstdint>
#include <string>

/// Wide text. Paths and texts of the library have this type; paths use the separator of the system.
using CString = std::wstring;

/// A point in time: whole seconds since 1970-01-01 UTC; 0 stands for "none".
class CTime {
public:
    constexpr CTime() = default;
    constexpr explicit CTime(std::int64_t seconds) : m_time(seconds) {}
    [[nodiscard]] constexpr std::int64_t GetTime() const { return m_time; }
    friend constexpr bool operator==(const CTime&, const CTime&) = default;

private:
    std::int64_t m_time = 0;
};
