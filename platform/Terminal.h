#pragma once

#include "platform/Export.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

/// A screen of the terminal's own, which a program draws anew again and again.
namespace platform {

struct STerminalSize {
    int columns = 80;
    int rows = 24;

    friend bool operator==(const STerminalSize&, const STerminalSize&) = default;
};

enum eTerminalKey {
    eTerminalKey_None,      ///< the time is over, or a key that means nothing here
    eTerminalKey_Character, ///< of ASCII
    eTerminalKey_Up,
    eTerminalKey_Down,
    eTerminalKey_PageUp,
    eTerminalKey_PageDown,
    eTerminalKey_Home,
    eTerminalKey_End,
    eTerminalKey_Ended ///< the terminal has gone
};

struct STerminalKey {
    eTerminalKey key = eTerminalKey_None;
    char character = 0;
};

/// The terminal of standard output and input while the object lives: another screen, no cursor, and where standard
/// input is a terminal, keys as they are pressed. Ctrl-C stays a signal, which CProgramSignals receives; Ctrl-Z and
/// Ctrl-\ would leave a terminal that nobody restores, and do nothing. The destructor restores all. One at a time, on
/// one thread.
class ZEL_FRAMEWORK_API CTerminal {
public:
    CTerminal();
    ~CTerminal();
    CTerminal(const CTerminal&) = delete;
    CTerminal& operator=(const CTerminal&) = delete;

    /// False where standard output is no terminal, or one that cannot be drawn on: nothing was changed then.
    [[nodiscard]] bool IsReady() const;
    [[nodiscard]] bool HasKeys() const;
    /// Without keys it waits for the time and gives None.
    [[nodiscard]] STerminalKey ReadKey(std::chrono::milliseconds timeout);
    [[nodiscard]] STerminalSize Size() const;
    /// Draws the lines from the first row on, and clears what is behind them. They must fit, in one column less than
    /// there are, and have no control characters.
    void Show(const std::vector<std::wstring>& lines);

private:
    struct SState;
    std::unique_ptr<SState> m_pState;
};

} // namespace platform
