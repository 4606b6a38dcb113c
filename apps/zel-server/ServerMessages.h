#pragma once

#include "apps/zel-server/ServerOptions.h"
#include "framework/LogOptions.h"

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

    /// Whether lines of the log have their places in the source.
    [[nodiscard]] static bool TellsPlaces(const SServerOptions& options);

    void Error(const std::wstring& text) const;
    void Note(const std::wstring& text) const;

private:
    void Tell(Brel::Log::eLogLevel level, const std::wstring& text) const;

    Brel::Log::SLogOptions m_log;
    bool m_bHasLogFile = false;
    bool m_bJson = false;
    bool m_bJournal = false; ///< standard error is the journal
};
