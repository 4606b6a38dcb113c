#include "platform/Terminal.h"

#include "platform/Clock.h"
#include "platform/Os.h"
#include "platform/Process.h"
#include "platform/posix/SystemError.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace platform {

namespace {

using namespace std::chrono_literals;

/// What follows an escape comes with it; an escape alone is a key of its own.
constexpr std::chrono::milliseconds kSequencePatience = 50ms;

constexpr std::pair<std::string_view, eTerminalKey> kSequences[] = {
    {"\x1b[A", eTerminalKey_Up},   {"\x1bOA", eTerminalKey_Up},      {"\x1b[B", eTerminalKey_Down},
    {"\x1bOB", eTerminalKey_Down}, {"\x1b[5~", eTerminalKey_PageUp}, {"\x1b[6~", eTerminalKey_PageDown},
    {"\x1b[H", eTerminalKey_Home}, {"\x1bOH", eTerminalKey_Home},    {"\x1b[1~", eTerminalKey_Home},
    {"\x1b[F", eTerminalKey_End},  {"\x1bOF", eTerminalKey_End},     {"\x1b[4~", eTerminalKey_End},
};

bool CanBeDrawnOn()
{
    const char* const kind = std::getenv("TERM");
    return isatty(STDOUT_FILENO) == 1 && kind != nullptr && *kind != '\0' && std::string_view(kind) != "dumb";
}

/// The bytes of the key at the beginning of what was typed. An unknown sequence is taken whole.
std::size_t LengthOfKey(std::string_view typed)
{
    if (typed.size() < 2 || typed[0] != '\x1b' || (typed[1] != '[' && typed[1] != 'O'))
        return 1;
    std::size_t at = 2;
    while (at < typed.size() && (typed[at] < '@' || typed[at] > '~'))
        ++at;
    return std::min(at + 1, typed.size());
}

} // namespace

struct CTerminal::SState {
    bool isReady = false;
    bool hasKeys = false;
    bool hasEnded = false;
    termios before = {};
    std::string typed;

    /// False when nothing came.
    bool Receive(std::chrono::milliseconds timeout)
    {
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        if (poll(&input, 1, static_cast<int>(timeout.count())) <= 0)
            return false;
        std::array<char, 64> bytes;
        const ssize_t got = read(STDIN_FILENO, bytes.data(), bytes.size());
        hasEnded = got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN);
        typed.append(bytes.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
        return got > 0;
    }
};

CTerminal::CTerminal() : m_pState(std::make_unique<SState>())
{
    m_pState->isReady = CanBeDrawnOn();
    if (!m_pState->isReady)
        return;
    m_pState->hasKeys = tcgetattr(STDIN_FILENO, &m_pState->before) == 0;
    if (m_pState->hasKeys) {
        termios keys = m_pState->before;
        keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | IEXTEN);
        keys.c_lflag |= ISIG;
        keys.c_cc[VSUSP] = _POSIX_VDISABLE;
        keys.c_cc[VQUIT] = _POSIX_VDISABLE;
        keys.c_cc[VMIN] = 1;
        keys.c_cc[VTIME] = 0;
        m_pState->hasKeys = tcsetattr(STDIN_FILENO, TCSADRAIN, &keys) == 0;
    }
    WriteConsoleText(eStream_Output, L"\x1b[?1049h\x1b[?25l");
}

CTerminal::~CTerminal()
{
    if (m_pState->isReady)
        WriteConsoleText(eStream_Output, L"\x1b[?25h\x1b[?1049l");
    if (m_pState->hasKeys)
        tcsetattr(STDIN_FILENO, TCSADRAIN, &m_pState->before);
}

bool CTerminal::IsReady() const
{
    return m_pState->isReady;
}

bool CTerminal::HasKeys() const
{
    return m_pState->hasKeys;
}

STerminalKey CTerminal::ReadKey(std::chrono::milliseconds timeout)
{
    if (!m_pState->hasKeys) {
        Clock().SleepFor(timeout);
        return {};
    }
    std::string& typed = m_pState->typed;
    if (typed.empty() && !m_pState->Receive(timeout))
        return {.key = m_pState->hasEnded ? eTerminalKey_Ended : eTerminalKey_None};
    if (typed == "\x1b" || typed == "\x1b[" || typed == "\x1bO")
        static_cast<void>(m_pState->Receive(kSequencePatience));
    const std::string key = typed.substr(0, LengthOfKey(typed));
    typed.erase(0, key.size());
    for (const auto& [sequence, meaning] : kSequences) {
        if (key == sequence)
            return {.key = meaning};
    }
    const bool isCharacter = key.size() == 1 && key[0] >= ' ' && key[0] <= '~';
    return isCharacter ? STerminalKey{.key = eTerminalKey_Character, .character = key[0]} : STerminalKey();
}

STerminalSize CTerminal::Size() const
{
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return {};
    return {.columns = size.ws_col, .rows = size.ws_row};
}

} // namespace platform
