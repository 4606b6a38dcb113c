#pragma once

#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelTypes.h"
#include "platform/Containment.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <vector>

/// What a server tells the process of its tasks. Whoever asks whether it is cancelled reads on, and whoever waits: a
/// thread that read for them would have to be woken, and to wake them, for each request. It is the context of the
/// tasks, too, whose host has no services here. When nobody is left who could tell anything, or when it is nothing that
/// this understands, the process ends at once.
class CTaskHostInbox final : public CZelProcessorContext {
public:
    explicit CTaskHostInbox(platform::CParentChannel& channel) : m_channel(channel) {}

    struct SRequest {
        CString path;
        bool isForced = false;
        CString owner; ///< for whom files are private; empty for everybody
        std::int64_t logLevel = 0;
    };

    /// One line. For the thread of the requests, as those that wait are.
    [[nodiscard]] bool Read(std::vector<CString>& words) const;
    /// Empty at the end.
    [[nodiscard]] std::optional<SRequest> WaitForRequest();
    /// The error of the removal that the server was asked for.
    [[nodiscard]] platform::eOsError WaitForRemoval();

    HRESULT GetHostService(REFIID iid, void** service) override;
    bool IsClosing() override;
    void SetCanceled(bool canceled) override { m_bCanceled = canceled; }
    bool IsCanceled() override;

private:
    [[nodiscard]] std::vector<CString> WaitForLine();
    void Look();
    [[nodiscard]] bool TakeNews(const std::vector<CString>& words);

    platform::CParentChannel& m_channel;
    std::atomic<bool> m_bCanceled = false;
    std::atomic<bool> m_bClosing = false;
    std::atomic<std::int64_t> m_nNextLook = 0; ///< of the steady clock, in nanoseconds
    /// A thread reads, or has the line that is left: no mutex, which a copy of this process (fork) might find locked
    /// for good when it asks.
    std::atomic<bool> m_bReads = false;
    std::vector<CString> m_left; ///< what a look has read for the thread of the requests
};
