#pragma once

#include "apps/zel/ToolSession.h"

#include <chrono>
#include <optional>

/// Looks, while something is waited for, whether there is a server that could do it.
class CServerWatch {
public:
    explicit CServerWatch(CToolSession& session) : m_session(session) {}

    /// Looks, a few times a second at most, and tells the user when there is no server any more, or one again. False
    /// when none was there for as long as the options say.
    [[nodiscard]] bool Look();
    /// What the last look saw: that there is none.
    [[nodiscard]] bool IsMissing() const { return m_missingSince.has_value(); }

    /// "no server serves the directory", on standard error, where that is known.
    static void TellWhenDead(CToolSession& session);
    /// The same, or that its queue is held.
    static void TellWhenDeadOrHeld(CToolSession& session);

private:
    CToolSession& m_session;
    std::optional<std::chrono::nanoseconds> m_lastLook;
    std::optional<std::chrono::nanoseconds> m_missingSince;
};

/// A time of the day in this place, "2026-07-01 12:00:00"; empty for one that its calendar does not have.
[[nodiscard]] std::wstring LocalTimeText(std::int64_t seconds);
