#include "platform/Terminal.h"

#include "platform/Clock.h"
#include "platform/Os.h"
#include "platform/Process.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/WindowsHeader.h"

// Not in every header of the compilers that build this.
#ifndef ENABLE_VIRTUAL_TERMINAL_PROCESSING
#define ENABLE_VIRTUAL_TERMINAL_PROCESSING 0x0004
#endif

namespace platform {

namespace {

STerminalKey MeaningOf(const KEY_EVENT_RECORD& event)
{
    switch (event.wVirtualKeyCode) {
    case VK_UP: return {.key = eTerminalKey_Up};
    case VK_DOWN: return {.key = eTerminalKey_Down};
    case VK_PRIOR: return {.key = eTerminalKey_PageUp};
    case VK_NEXT: return {.key = eTerminalKey_PageDown};
    case VK_HOME: return {.key = eTerminalKey_Home};
    case VK_END: return {.key = eTerminalKey_End};
    default: break;
    }
    const wchar_t character = event.uChar.UnicodeChar;
    if (character < L' ' || character > L'~') {
        return {};
    }
    return {.key = eTerminalKey_Character, .character = static_cast<char>(character)};
}

} // namespace

struct CTerminal::SState {
    bool isReady = false;
    bool hasKeys = false;
    HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD inputBefore = 0;
    DWORD outputBefore = 0;
};

CTerminal::CTerminal() : m_pState(std::make_unique<SState>())
{
    SState& state = *m_pState;
    state.isReady =
        GetConsoleMode(state.output, &state.outputBefore) &&
        SetConsoleMode(state.output, state.outputBefore | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    if (!state.isReady) {
        return;
    }
    state.hasKeys = GetConsoleMode(state.input, &state.inputBefore) &&
                    SetConsoleMode(state.input, ENABLE_PROCESSED_INPUT | ENABLE_EXTENDED_FLAGS);
    WriteConsoleText(eStream_Output, L"\x1b[?1049h\x1b[?25l");
}

CTerminal::~CTerminal()
{
    if (m_pState->hasKeys) {
        SetConsoleMode(m_pState->input, m_pState->inputBefore);
    }
    if (m_pState->isReady) {
        WriteConsoleText(eStream_Output, L"\x1b[?25h\x1b[?1049l");
        SetConsoleMode(m_pState->output, m_pState->outputBefore);
    }
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
    const DWORD waited = WaitForSingleObject(m_pState->input, win32::ToWaitTime(timeout));
    if (waited == WAIT_TIMEOUT) {
        return {};
    }
    INPUT_RECORD record{};
    DWORD got = 0;
    if (waited != WAIT_OBJECT_0 || !ReadConsoleInputW(m_pState->input, &record, 1, &got)) {
        return {.key = eTerminalKey_Ended};
    }
    const bool isKey = got == 1 && record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown;
    return isKey ? MeaningOf(record.Event.KeyEvent) : STerminalKey();
}

STerminalSize CTerminal::Size() const
{
    CONSOLE_SCREEN_BUFFER_INFO information{};
    if (!GetConsoleScreenBufferInfo(m_pState->output, &information)) {
        return {};
    }
    const SMALL_RECT& window = information.srWindow;
    return {.columns = window.Right - window.Left + 1, .rows = window.Bottom - window.Top + 1};
}

} // namespace platform
