#pragma once

#include "ZEL_Processor/ZelServerOptions.h"
#include "ZEL_Processor/ZelTypes.h"
#include "protocol/ProtocolPaths.h"

#include <chrono>
#include <functional>
#include <string>

class CServerFigures;
class CZelProcessorContext;
class CZelProcessorEvent;
struct TSRequestItem;

/// What the host of a server has set, and what follows from it: where files are, and for whom. Constant while the
/// server runs.
struct CServerSettings {
    /// Whose file it is; empty when no option asks, which takes a call of the system for each.
    [[nodiscard]] std::string OwnerOf(const CString& path) const;
    /// Whether a command of an operator's, whose file this is, may be carried out. The owner is asked for always.
    [[nodiscard]] bool IsOperators(const CString& path) const;
    /// What waits from now on: a file of the queue directory, whose it is and what it asks for.
    [[nodiscard]] TSRequestItem ItemOf(const CString& queuedPath) const;
    /// For whom files are made that concern this owner; empty for everybody. What concerns nobody known is for the
    /// server.
    [[nodiscard]] std::string PrivateFor(const std::string& owner) const;
    [[nodiscard]] unsigned MoveFlags() const;
    /// Whether a cancel means the request of its name only: among several that run there is no other one to be meant.
    [[nodiscard]] bool CancelsByName() const { return m_options.cancelByName || m_options.slots > 1; }
    /// How many requests run at once.
    [[nodiscard]] std::size_t Slots() const;
    /// Whether it is on the device that a run has begun, before it begins: no power cut may have it run again.
    [[nodiscard]] bool MarksRuns() const;
    /// With who holds a file of the output directory; 0: without limit. Its readers need microseconds, and what is not
    /// written because of them costs more than to wait for that.
    [[nodiscard]] std::chrono::milliseconds PatienceWithReaders() const;
    /// For a wait that starts now, for who holds a file: until that patience ends. What it serves only tidies up, and
    /// has an end in any case.
    [[nodiscard]] std::function<bool()> BriefPatience() const;

    SZelServerOptions m_options; ///< constant from SetDirs on
    CZelProcessorEvent* m_pEvent = nullptr;
    CZelProcessorContext* m_pContext = nullptr;
    bool m_bNoExecutiveThread = false;
    CServerFigures* m_pFigures = nullptr; ///< null: nobody wants to know
    SProtocolPaths m_paths;
};
