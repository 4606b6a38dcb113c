#pragma once

#include "ZEL_Processor/IWQ_Palette.h"
#include "com/ComPtr.h"
#include "framework/DsEventsData.h"
#include "tests/simulation/Actors.h"

#include <vector>

namespace sim {

/// What the server is asked for at each event; nothing of it has changed.
[[nodiscard]] CComPtr<IWQ_Palette> MakePalette();
/// The next one, which has a number of its own in the place of a kind.
[[nodiscard]] CComPtr<IWQ_DsEventsData> NextEvent(SStage& stage);

/// A registered client, which hears of some events whatever becomes of the server.
class CListenerActor final : public CActor {
public:
    explicit CListenerActor(SStage& stage);

private:
    void Listen();
    [[nodiscard]] bool Register(CZelProcessorClient& client);
    /// Until it has heard of so many, for which it has some minutes.
    void Hear(CZelProcessorClient& client);
    void CheckOrder() const;

    std::vector<LONG> m_heard;
};

} // namespace sim
