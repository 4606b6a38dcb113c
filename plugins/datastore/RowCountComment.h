#pragma once

#include "plugins/common/PluginOs.h"

#include <ZEL_Processor/ZelProcessorProgress.h>

#include <chrono>
#include <cstdint>
#include <string>

/// Shows a count of rows in the comment of a request, at most five times a second: each showing rewrites the status
/// file.
class CRowCountComment {
public:
    explicit CRowCountComment(CZelProcessorProgress& progress) : m_progress(progress), m_last(ElapsedTime()) {}

    void Show(std::uint64_t rows)
    {
        const auto now = ElapsedTime();
        if (now - m_last < kPause)
            return;
        m_last = now;
        m_progress.SetComment((std::to_wstring(rows) + L" rows").c_str());
    }

private:
    static constexpr std::chrono::milliseconds kPause{200};

    CZelProcessorProgress& m_progress;
    std::chrono::milliseconds m_last;
};
