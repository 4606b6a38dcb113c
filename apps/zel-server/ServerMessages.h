#pragma once

#include "apps/zel-server/ServerOptions.h"
#include "framework/LogOptions.h"

#include <atomic>
#include <string>

/// What the program says to whoever started it: lines on standard error that no log level hides, objects when the log
/// there is JSON; and in the log file as well when there is one.
class CServerMessages {
public:
    /// Sets the log up. False, after a message, when the log file can't be opened.
    [[nodiscard]] bool Open(const SServerOptions& options);
    /// Opens the log file anew, which somebody has moved away. When that fails the log goes on where it was. From any
    /// thread.
    void Reopen() const;

    /// Lets the log be of the level and size of these options from now on. False, after a message, when its file can't
    /// be opened: then it goes on as it was.
    [[nodiscard]] bool Change(const SServerOptions& options);
    /// Whether lines of the log have their places in the source. From any thread.
    [[nodiscard]] bool TellsPlaces() const { return m_bPlaces; }

    void Error(const std::wstring& text) const;
    void Note(const std::wstring& text) const;

private:
    [[nodiscard]] bool Configure(Brel::Log::SLogOptions log, const SServerOptions& options);
    void Tell(Brel::Log::eLogLevel level, const std::wstring& text) const;

    Brel::Log::SLogOptions m_log;
    std::atomic<bool> m_bPlaces = false;
    bool m_bHasLogFile = false;
    bool m_bJson = false;
    bool m_bJournal = false; ///< standard error is the journal
};
