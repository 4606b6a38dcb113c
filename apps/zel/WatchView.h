#pragma once

#include "apps/zel/RequestOverview.h"
#include "apps/zel/WatchScreen.h"
#include "platform/Terminal.h"

#include <cstddef>

/// All requests live on the terminal, with keys. On the main thread: it waits for a key, and looks between two waits
/// whether something was told of the directories.
class CWatchView {
public:
    explicit CWatchView(CToolSession& session) : m_session(session), m_overview(session) {}

    /// False where there is no terminal to draw on.
    [[nodiscard]] bool IsReady() const { return m_terminal.IsReady(); }
    [[nodiscard]] eExitCode Run();

private:
    void Arrange();
    void Show();
    /// False to quit.
    [[nodiscard]] bool Handle(const platform::STerminalKey& key);
    void Choose(std::ptrdiff_t step);
    /// Has the server carry out what a key stands for, and tells in the foot line what came of it.
    void Steer(char key);
    [[nodiscard]] std::wstring Steer(char key, const std::wstring& name);
    [[nodiscard]] std::wstring HeadText(const std::size_t (&counts)[4]) const;

    CToolSession& m_session;
    CRequestOverview m_overview;
    SWatchScreen m_screen;
    bool m_isServerMissing = false;
    platform::CTerminal m_terminal;
    std::vector<std::wstring> m_shown;
    platform::STerminalSize m_size;
};
