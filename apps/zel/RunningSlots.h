#pragma once

#include "Kernel/ZEL_Processor/ZEL_Processor/protocol/SlotRecord.h"
#include "apps/common/RequestState.h"

#include <optional>
#include <vector>

class CToolSession;

/// Neither waits, paused or not, nor has ended.
[[nodiscard]] bool IsAtWork(eZelProcRequestStatus status);

/// Where requests are on their way: since when, and of those that run, in which slot of the server.
class CRunningSlots {
public:
    explicit CRunningSlots(CToolSession& session) : m_session(session) {}

    /// From its statuses, and from what the server tells of its slots, which is read for the first that runs.
    [[nodiscard]] SRequestStage StageOf(const SRequestState& state);

private:
    [[nodiscard]] const std::vector<SSlotRecord>& Records();

    CToolSession& m_session;
    std::optional<std::vector<SSlotRecord>> m_records;
};
