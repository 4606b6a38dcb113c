#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <cstddef>

struct CServerSettings;

/// Where a server that resumes puts the files that it cannot explain, or must not run. For one thread.
class CLostAndFound {
public:
    explicit CLostAndFound(const CServerSettings& settings) : m_settings(settings) {}

    enum eReason { eReason_Unexplained, eReason_HasEnded };
    /// Moves a file there, under its name or one like it, and tells the operator. One that can't be moved stays.
    void MoveAside(const CString& path, eReason reason = eReason_Unexplained);
    [[nodiscard]] std::size_t Count() const { return m_nMoved; }

private:
    const CServerSettings& m_settings;
    std::size_t m_nMoved = 0;
    std::size_t m_nTold = 0;
};
