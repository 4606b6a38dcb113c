#pragma once

#include "apps/common/ExpectedEnd.h"
#include "apps/common/RequestState.h"
#include "apps/zel/ToolSession.h"

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

/// All requests that have a file anywhere, kept up to date with bounded work for each refresh: what runs is looked at
/// each time, of the others some in turn, so that many thousand hold up nobody who presses a key.
class CRequestOverview {
public:
    struct SEntry {
        SRequestState state;
        CExpectedEnd end;
        bool isKnown = false; ///< it was looked at
    };
    using Entries = std::map<std::wstring, SEntry>;

    /// Statuses for each refresh: of those that run, and of others.
    static constexpr std::size_t kLooks = 100;

    explicit CRequestOverview(CToolSession& session);
    ~CRequestOverview();
    CRequestOverview(const CRequestOverview&) = delete;
    CRequestOverview& operator=(const CRequestOverview&) = delete;

    /// Something may have changed: everything is to be looked at once more.
    void BeginRound();
    /// Nothing is left of the round.
    [[nodiscard]] bool IsRoundOver() const { return m_todo.empty() && !m_isListingDue; }
    /// Goes on with the round. changed gets what is new or looks other than before; one that has gone is not requested.
    /// False with the reason when a directory cannot be read.
    [[nodiscard]] bool Refresh(std::vector<SRequestState>& changed, std::wstring& error);

    [[nodiscard]] const Entries& Requests() const { return m_entries; }

private:
    [[nodiscard]] bool List(std::vector<SRequestState>& changed, std::wstring& error);
    void Look(SEntry& entry, std::vector<SRequestState>& changed);

    CToolSession& m_session;
    std::chrono::nanoseconds m_end{};
    Entries m_entries;
    std::set<std::wstring> m_todo; ///< names that the round has still to look at
    bool m_isListingDue = true;
};

/// Once a second all is looked at even when the output directory tells of no change: what a user takes out of the
/// request directory or the queue changes nothing there.
class CRoundClock {
public:
    [[nodiscard]] bool IsDue();

private:
    std::chrono::nanoseconds m_last{};
};
