#pragma once

#include "apps/common/RequestState.h"

#include <optional>
#include <string>

/// Shows on standard error how far a request is: a bar on a terminal, else one line per change.
class CProgressView {
public:
    CProgressView();
    /// Leaves the bar's last state on the screen.
    ~CProgressView();
    CProgressView(const CProgressView&) = delete;
    CProgressView& operator=(const CProgressView&) = delete;

    /// Does nothing when this is what was shown last.
    void Show(const SRequestState& state);

private:
    const bool m_isTerminal;
    std::optional<SRequestState> m_shown;
    std::size_t m_shownLength = 0;
};

/// The line of a terminal of this width: "[#####     ]  50 % name: status comment".
[[nodiscard]] std::wstring ProgressBarLine(const SRequestState& state, std::size_t width);
