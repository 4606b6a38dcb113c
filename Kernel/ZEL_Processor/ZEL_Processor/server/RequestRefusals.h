#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "platform/NameKind.h"

#include <chrono>
#include <cstdint>
#include <set>
#include <string>

class CRequestQueue;
class CRequestStatuses;
struct CServerSettings;

/// What strangers put into the request directory and cannot be served: why, and how they and the operator are told.
/// For the listener's thread.
class CRequestRefusals {
public:
    CRequestRefusals(const CServerSettings& settings, const CRequestQueue& requests, CRequestStatuses& statuses)
        : m_settings(settings), m_requests(requests), m_statuses(statuses)
    {}

    void StartLook();
    /// What the look did not meet is told of again when it comes back.
    void EndLook();
    void Clear() { m_refused.clear(); }
    /// True when nothing of this name is taken. It is told once, from look to look.
    bool RefuseWhatCannotBeServed(const CString& path, platform::eNameKind kind);

    /// The reason for which nothing of this name is taken; empty when there is none, or the file has gone.
    [[nodiscard]] CString WhyRefused(const CString& path, platform::eNameKind kind) const;
    /// To the log, and by a status that no other request needs.
    void TellRefused(const CString& path, const CString& reason);
    /// A line of the log for all refusals of a while.
    void TellRefusal(const CString& text);

private:
    const CServerSettings& m_settings;
    const CRequestQueue& m_requests;
    CRequestStatuses& m_statuses;
    std::chrono::nanoseconds m_refusalsTold{};
    std::uint64_t m_nRefusals = 0;  ///< since they were told
    std::set<CString> m_refused;    ///< told of, and still there at the last look
    std::set<CString> m_refusedNow; ///< met by the look that is going on
};
