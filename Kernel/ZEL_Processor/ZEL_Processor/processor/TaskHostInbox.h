#pragma once

#include "ZEL_Processor/ZelProcessorContext.h"
#include "ZEL_Processor/ZelTypes.h"
#include "platform/Containment.h"
#include "platform/Mutex.h"
#include "platform/Thread.h"

#include <atomic>
#include <optional>
#include <vector>

/// What a server tells the process of its tasks, which learns of a cancel while a task runs: a thread reads it. It is
/// the context of the tasks, too, whose host has no services here. When nobody is left who could tell anything, or when
/// it is nothing that this understands, the process ends at once.
class CTaskHostInbox final : public CZelProcessorContext {
public:
    explicit CTaskHostInbox(platform::CParentChannel& channel) : m_channel(channel) {}
    /// Reads on to the end that the server has told of.
    ~CTaskHostInbox();

    struct SRequest {
        CString path;
        bool isForced = false;
        CString owner; ///< for whom files are private; empty for everybody
        std::int64_t logLevel = 0;
    };

    /// One line, before Start.
    [[nodiscard]] bool Read(std::vector<CString>& words) const;
    [[nodiscard]] bool Start();
    /// Empty at the end.
    [[nodiscard]] std::optional<SRequest> WaitForRequest();
    /// The error of the removal that the server was asked for.
    [[nodiscard]] platform::eOsError WaitForRemoval();

    HRESULT GetHostService(REFIID iid, void** service) override;
    bool IsClosing() override { return m_bClosing; }
    void SetCanceled(bool canceled) override { m_bCanceled = canceled; }
    bool IsCanceled() override { return m_bCanceled; }

private:
    void ReadAll();
    [[nodiscard]] bool Take(const std::vector<CString>& words);

    platform::CParentChannel& m_channel;
    std::atomic<bool> m_bCanceled = false;
    std::atomic<bool> m_bClosing = false;
    platform::CMutex m_mutex;
    platform::CCondition m_changed;
    std::optional<SRequest> m_request ZEL_GUARDED_BY(m_mutex);
    std::optional<platform::eOsError> m_removal ZEL_GUARDED_BY(m_mutex);
    bool m_bEnd ZEL_GUARDED_BY(m_mutex) = false;
    platform::CThread m_thread; ///< uses all of the above
};
