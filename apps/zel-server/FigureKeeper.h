#pragma once

#include "ZEL_Processor/ZelProcessorServer.h"
#include "apps/zel-server/FigureHistory.h"
#include "apps/zel-server/FiguresJson.h"
#include "apps/zel-server/ServerMessages.h"
#include "apps/zel-server/ServerOptions.h"
#include "platform/Thread.h"

#include <chrono>
#include <set>
#include <string>

/// Keeps the files that show the figures of a server: for "zel stats" in the folder of its own, the page and the file
/// of metrics where they are wanted. On a thread of its own, for a file system may hang: once a second at most, and
/// only when something has changed; those that somebody may watch from elsewhere also every half minute, so that he can
/// tell a server that died from one that has nothing to do.
class CFigureKeeper {
public:
    static constexpr std::chrono::seconds kHeartbeat{30};

    /// Both are borrowed. leftOut: plug-ins that are not used, with the reasons.
    CFigureKeeper(const SServerOptions& options, const CZelProcessorServer& server, const CServerMessages& messages,
                  const std::vector<std::wstring>& leftOut);
    /// Without the end.
    ~CFigureKeeper();
    CFigureKeeper(const CFigureKeeper&) = delete;
    CFigureKeeper& operator=(const CFigureKeeper&) = delete;

    /// Makes what is missing of the places, and the page. False with the reason.
    [[nodiscard]] static bool Prepare(const SServerOptions& options, std::wstring& error);
    /// What Prepare would say, without making anything.
    [[nodiscard]] static bool Check(const SServerOptions& options, std::wstring& error);

    /// False when the system has no thread to give.
    [[nodiscard]] bool Start();
    /// The server has stopped: writes that, and ends.
    void End();

private:
    void Keep();
    void Look();
    void Write(bool hasEnded);
    void Replace(const std::wstring& path, const std::string& bytes);
    void LookAtDisks();

    const SServerOptions m_options;
    const CZelProcessorServer& m_server;
    const CServerMessages& m_messages;
    SFigureFacts m_facts;
    SZelServerFigures m_figures;
    CFigureHistory m_history;
    std::chrono::nanoseconds m_lastWrite{0};
    std::chrono::nanoseconds m_lastDiskLook{0};
    bool m_bUnwritten = false;        ///< a write failed, and is to be tried again
    std::set<std::wstring> m_failing; ///< files of which that was told
    platform::CManualResetEvent m_evEnd;
    platform::CThread m_thread;
};
