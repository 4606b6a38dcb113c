#pragma once

#include "ZEL_Processor/ZelProcessorServer.h"
#include "apps/zel-server/EventFeed.h"
#include "apps/zel-server/ServerContext.h"
#include "apps/zel-server/ServerDirectories.h"
#include "apps/zel-server/ServerHost.h"
#include "apps/zel-server/ServerOptions.h"
#include "platform/Process.h"

#include <memory>

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
    [[nodiscard]] bool MakeServer();
    [[nodiscard]] bool ProvideProject();
    void TellReady();
    void ServeUntilStop();
    void TellFailure();
    void EndAfterFailure();
    /// False, after a message, when the server makes no progress.
    [[nodiscard]] bool FeedWatchdog();
    void Stop();

    const SServerOptions m_options;
    CServerMessages m_messages;
    CServerHost m_host{m_messages};
    platform::CProgramSignals m_signals; ///< before anything that starts a thread
    CServerContext m_context;
    CServerDirectories m_directories; ///< claimed until the server is gone
    std::unique_ptr<CZelProcessorServer> m_pServer;
    std::unique_ptr<CEventFeed> m_pFeed; ///< ends before the server does
    bool m_bToldFailure = false;
};
