#pragma once

#include "apps/zel-server/ServerOptions.h"

#include <string>

/// What the program says to whoever started it: lines on standard error that no log level hides, objects when the log
/// there is JSON; and in the log file as well when there is one.
class CServerMessages {
public:
    /// Sets the log up. False, after a message, when the log file can't be opened.
    [[nodiscard]] bool Open(const SServerOptions& options);

    void Error(const std::wstring& text) const;
    void Note(const std::wstring& text) const;

private:
    void Tell(Brel::Log::eLogLevel level, const std::wstring& text) const;

    bool m_bHasLogFile = false;
    bool m_bJson = false;
};
