#pragma once

#include "ZEL_Processor/ZelProcessorServer.h"
#include "apps/common/ExitGuard.h"
#include "apps/zel-server/EventFeed.h"
#include "apps/zel-server/FigureKeeper.h"
#include "apps/zel-server/RepeatedLook.h"
#include "apps/zel-server/ServerContext.h"
#include "apps/zel-server/ServerDirectories.h"
#include "apps/zel-server/ServerHost.h"
#include "apps/zel-server/ServerOptions.h"
#include "apps/zel-server/StopSupervisor.h"
#include "platform/Mutex.h"
#include "platform/Process.h"
#include "platform/StrayFaults.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The program from its start to its end, after the options are known. One object, on the main thread.
class CServerProgram {
public:
    explicit CServerProgram(const SServerOptions& options);
    ~CServerProgram();
    CServerProgram(const CServerProgram&) = delete;
    CServerProgram& operator=(const CServerProgram&) = delete;

    /// Serves until a signal to stop, or until the server ends by itself; the result is the exit code.
    [[nodiscard]] int Run();

private:
    void LimitQueries();
    void AddComponents();
    [[nodiscard]] bool Start();
    /// The directories, checked and claimed. False after a message, and without one when somebody wants this server to
    /// stop while it waits for another one.
    [[nodiscard]] bool TakeDirectories();
    [[nodiscard]] bool WaitsForDrained();
    [[nodiscard]] int DrainOther();
    /// False after a signal to stop; at the start, before anybody serves.
    [[nodiscard]] bool GoesOn();
    [[nodiscard]] bool MakeServer();
    [[nodiscard]] bool ProvideProject();
    void TellReady();
    void ServeUntilStop();
    void CarryOut(platform::eProgramSignal received);
    void Reload();
    void TakeOver(const SServerOptions& read);
    [[nodiscard]] SServerOptions InForce();
    [[nodiscard]] bool StartLooking();
    [[nodiscard]] bool StartFigures();
    /// False, after a message, when the server cannot work in its directories any more. As below, on a thread of its
    /// own.
    [[nodiscard]] bool LookAfterDirectories();
    void LookAndRemake(eDirectoriesState& state);
    /// Tells clients what this server is.
    void Publish(std::int64_t ended = 0);
    void TellFailure();
    void EndAfterFailure();
    void EndDrained();
    /// False, after a message, when the server makes no progress.
    [[nodiscard]] bool FeedWatchdog();
    void Stop();

    const SServerOptions m_options; ///< of the start
    platform::CMutex m_mutex;       ///< guards what the main thread changes and the look's thread tells
    SServerOptions m_inForce ZEL_GUARDED_BY(m_mutex); ///< the same, but for what was changed since
    std::atomic<bool> m_bPublishes = false;           ///< something is to be told that is not yet
    CServerMessages m_messages;
    CServerHost m_host{m_messages, m_options};
    platform::CProgramSignals m_signals; ///< before anything that starts a thread
    std::unique_ptr<platform::CStrayFaults> m_pStrayFaults;
    CServerContext m_context;
    std::unique_ptr<CStopSupervisor> m_pStopSupervisor; ///< of a stop until the claims have ended
    CServerDirectories m_directories;                   ///< claimed until the server is gone
    std::unique_ptr<CZelProcessorServer> m_pServer;
    std::unique_ptr<CEventFeed> m_pFeed;       ///< ends before the server does
    std::unique_ptr<CFigureKeeper> m_pFigures; ///< none when strict without the files; ends before the server does
    std::unique_ptr<CExitGuard> m_pExitGuard;
    const std::int64_t m_started;
    std::vector<std::wstring> m_leftOut; ///< manifests that are not used, with the reasons
    bool m_bToldFailure = false;
    bool m_bToldDraining = false;
    bool m_bStoppedEarly = false; ///< while it waited for another server
    std::atomic<bool> m_bLostDirectories = false;
    std::atomic<bool> m_bDrained = false;
    std::chrono::nanoseconds m_shownAlive{}; ///< of the look's thread
    std::unique_ptr<CRepeatedLook> m_pLook;  ///< none when strict; uses all of the above
};
