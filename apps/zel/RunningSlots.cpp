#include "apps/zel/RunningSlots.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/ToolSession.h"

bool IsAtWork(eZelProcRequestStatus status)
{
    return status != eRequestStatus_Waiting && status != eRequestStatus_Paused && !CZelRequestWatch::IsFinal(status);
}

SRequestStage CRunningSlots::StageOf(const SRequestState& state)
{
    if (!IsAtWork(state.status))
        return {.since = state.modified, .slot = std::nullopt};
    SRequestStage stage = {.since = state.created, .slot = std::nullopt};
    for (const SSlotRecord& record : Records()) {
        // One that was declined may have run in another slot before.
        if (record.request == state.name && (!stage.slot || record.since > *stage.since))
            stage = {.since = record.since, .slot = record.slot};
    }
    return stage;
}

const std::vector<SSlotRecord>& CRunningSlots::Records()
{
    if (!m_records) {
        // What a dead server has told counts no more.
        const SZelServerInfo server = m_session.Client().GetServerInfo();
        m_records = SlotRecord::ReadAll(SlotRecord::FolderIn(m_session.Options().outputDir),
                                        server.presence == eServerPresence_Serves ? server.process : 0);
    }
    return *m_records;
}
