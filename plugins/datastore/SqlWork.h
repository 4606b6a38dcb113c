#pragma once

#include "plugins/datastore/Database.h"

#include <cstddef>

/// Counts what one call of a function does, and asks from time to time whether it is to end.
class CSqlWork {
public:
    explicit CSqlWork(CDatabase& database) : m_database(database) {}

    /// False when the call is to end.
    [[nodiscard]] bool GoOn(std::size_t bytes)
    {
        m_nBytes += bytes;
        if (m_nBytes < kBytesBetweenLooks)
            return true;
        m_nBytes = 0;
        m_bEnded = m_bEnded || m_database.IsToStop();
        return !m_bEnded;
    }
    [[nodiscard]] bool IsEnded() const { return m_bEnded; }

private:
    /// Bytes that are compared between two looks: some hundred microseconds to some milliseconds.
    static constexpr std::size_t kBytesBetweenLooks = 1024 * 1024;

    CDatabase& m_database;
    std::size_t m_nBytes = 0;
    bool m_bEnded = false;
};
