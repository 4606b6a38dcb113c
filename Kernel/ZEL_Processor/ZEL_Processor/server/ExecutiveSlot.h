#pragma once

#include "Executive.h"
#include "ServerSettings.h"
#include "SlotContext.h"
#include "processor/CallGate.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

class CWQ_Thread;
class CZelProcessor;
class IRequestRunner;
struct CServerState;

/// Where one at a time of several slots passes.
struct SSlotGates {
    CCallGate event;   ///< telling the host what is done
    CCallGate plugins; ///< using those that serve one request at a time
};

/// One of those that run requests at the same time: a thread, what it runs them with, and whom a task asks.
struct CExecutiveSlot {
    CExecutiveSlot(CServerState& server, std::size_t number);
    ~CExecutiveSlot();
    CExecutiveSlot(const CExecutiveSlot&) = delete;
    CExecutiveSlot& operator=(const CExecutiveSlot&) = delete;

    /// Anew for each run of the server, while there is no thread. stepping: see CExecutive; null in the first slot.
    /// gates: null where there is one slot. False when the output directory is gone, and, after a
    /// message, when there is no program to run tasks in.
    bool Prepare(const CServerSettings& settings, IRequestRunner* stepping, SSlotGates* gates);
    /// The context of what runs here.
    [[nodiscard]] CZelProcessorContext* Context() { return m_settings.m_pContext; }
    /// Since it was asked the last time it has gone on, or may have nothing to do.
    bool MakesProgress();

    bool MakeRunner(SSlotGates* gates);
    /// Keeps the request that runs here, and its turn, until it is let in. False when it was cancelled, or the server
    /// stops.
    bool WaitForPlugins(CCallGate& gate, const void* who);

    CServerState& m_server;
    const std::size_t m_nNumber;
    CServerSettings m_settings; ///< the server's, with its own context where there are several slots
    CSlotContext m_context;
    std::unique_ptr<CZelProcessor> m_pProcessor;
    std::unique_ptr<IRequestRunner> m_pRunner; ///< over the processor, made with it
    CExecutive m_executive;
    std::uint32_t m_nTurnsSeen = 0; ///< by MakesProgress the last time
    std::unique_ptr<CWQ_Thread> m_pThread;
};
