#include "apps/zel/WatchView.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/CommandClient.h"
#include "apps/zel/ProgressView.h"
#include "apps/zel/RunningSlots.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include "ToolTexts.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

using namespace std::chrono_literals;

namespace {

/// How soon a change is seen; more often nobody can read.
constexpr auto kKeyPatience = 100ms;

enum eRank : std::size_t { eRank_Running, eRank_Waiting, eRank_Paused, eRank_Ended };

eRank RankOf(const SRequestState& state)
{
    if (CZelRequestWatch::IsFinal(state.status))
        return eRank_Ended;
    if (state.status == eRequestStatus_Paused)
        return eRank_Paused;
    return IsAtWork(state.status) ? eRank_Running : eRank_Waiting;
}

} // namespace

eExitCode CWatchView::Run()
{
    CZelRequestWatch watch(m_session.Client(), m_session.Options().outputDir);
    CRoundClock rounds;
    m_screen.foot = WQ_ModuleText(ToolTexts::IDS_WATCH_HINT);
    for (;;) {
        if (m_session.IsInterrupted())
            return eExitCode_Interrupted;
        std::vector<SRequestState> changed;
        std::wstring error;
        if (!m_overview.Refresh(changed, error))
            m_screen.foot = error; // it may be back in a second
        Arrange();
        Show();
        const platform::STerminalKey key = m_terminal.ReadKey(m_overview.IsRoundOver() ? kKeyPatience : 0ms);
        if (!Handle(key))
            return eExitCode_Done;
        const bool isDue = rounds.IsDue();
        if (isDue)
            m_isServerMissing = m_session.Client().GetServerInfo().presence == eServerPresence_None;
        if (watch.WaitForChange(0ms) || isDue)
            m_overview.BeginRound();
    }
}

/// What runs, then what waits, in the order in which they came; then the others. The chosen request stays it.
void CWatchView::Arrange()
{
    const std::wstring chosen =
        m_screen.chosen < m_screen.rows.size() ? m_screen.rows[m_screen.chosen].state.name : std::wstring();
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    std::size_t counts[4] = {};
    m_screen.rows.clear();
    for (const auto& [name, entry] : m_overview.Requests()) {
        if (!entry.isKnown)
            continue;
        ++counts[RankOf(entry.state)];
        m_screen.rows.push_back({.state = entry.state, .left = LeftText(entry.end.Left(now))});
    }
    const auto key = [](const SWatchScreen::SRow& row) {
        return std::pair(RankOf(row.state), row.state.created.value_or(std::numeric_limits<std::int64_t>::max()));
    };
    std::ranges::stable_sort(m_screen.rows, {}, key);
    const auto found = std::ranges::find(m_screen.rows, chosen, [](const auto& row) { return row.state.name; });
    if (found != m_screen.rows.end())
        m_screen.chosen = static_cast<std::size_t>(found - m_screen.rows.begin());
    m_screen.head = HeadText(counts);
}

std::wstring CWatchView::HeadText(const std::size_t (&counts)[4]) const
{
    std::vector<std::wstring> numbers;
    std::ranges::transform(counts, std::back_inserter(numbers),
                           [](std::size_t count) { return std::to_wstring(count); });
    const std::wstring head = WQ_ModuleText(ToolTexts::IDS_WATCH_COUNTS, numbers);
    return m_isServerMissing ? head + L"   " + ShownText(ToolTexts::IDS_NO_SERVER, {m_session.Options().outputDir})
                             : head;
}

void CWatchView::Show()
{
    const platform::STerminalSize size = m_terminal.Size();
    ScrollToChosen(m_screen, WatchRowCount(size.rows));
    std::vector<std::wstring> lines = DrawWatch(m_screen, size.columns, size.rows);
    if (lines == m_shown && size == m_size)
        return;
    m_size = size;
    m_shown = std::move(lines);
    m_terminal.Show(m_shown);
}

bool CWatchView::Handle(const platform::STerminalKey& key)
{
    const auto page = static_cast<std::ptrdiff_t>(WatchRowCount(m_size.rows));
    constexpr std::ptrdiff_t all = std::numeric_limits<std::int32_t>::max();
    switch (key.key) {
    case platform::eTerminalKey_Ended: return false;
    case platform::eTerminalKey_Up: Choose(-1); return true;
    case platform::eTerminalKey_Down: Choose(1); return true;
    case platform::eTerminalKey_PageUp: Choose(-page); return true;
    case platform::eTerminalKey_PageDown: Choose(page); return true;
    case platform::eTerminalKey_Home: Choose(-all); return true;
    case platform::eTerminalKey_End: Choose(all); return true;
    case platform::eTerminalKey_None: return true;
    case platform::eTerminalKey_Character: break;
    }
    switch (key.character) {
    case 'q': return false;
    case 'k': Choose(-1); break;
    case 'j': Choose(1); break;
    case '?': m_screen.foot = WQ_ModuleText(ToolTexts::IDS_WATCH_KEYS); break;
    case 'c':
    case 'p':
    case 'r': Steer(key.character); break;
    default: break;
    }
    return true;
}

void CWatchView::Choose(std::ptrdiff_t step)
{
    const auto last = std::max<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(m_screen.rows.size()) - 1, 0);
    const auto chosen = static_cast<std::ptrdiff_t>(m_screen.chosen) + step;
    m_screen.chosen = static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(chosen, 0, last));
}

void CWatchView::Steer(char key)
{
    if (m_screen.rows.empty())
        return;
    const std::wstring name = m_screen.rows[m_screen.chosen].state.name;
    m_screen.foot = ShownName(name) + L": \u2026";
    Show();
    const CMutedHost muted(m_session.Host());
    m_screen.foot = Steer(key, name);
    m_overview.BeginRound();
}

std::wstring CWatchView::Steer(char key, const std::wstring& name)
{
    CCommandClient client(m_session);
    std::wstring error;
    if (!client.Open(error))
        return error;
    // What was shown may be old, and a server that keeps to the protocol alone cancels whatever runs when it does not
    // know the name, and pauses what was to be resumed.
    const SRequestState before = ReadState(client.Client(), name);
    const std::wstring word = StatusWord(before.status);
    if (before.status == eRequestStatus_NotRequested || before.status == eRequestStatus_NotIntialized)
        return ShownText(ToolTexts::IDS_WATCH_GONE, {name});
    if (CZelRequestWatch::IsFinal(before.status))
        return ShownText(ToolTexts::IDS_HAS_ENDED, {name, word});
    if (key == 'p' && IsAtWork(before.status))
        return ShownText(ToolTexts::IDS_RUNS_ALREADY, {name});
    if (key == 'p' && before.status == eRequestStatus_Paused)
        return ShownName(name) + L": " + word;
    if (key == 'r' && before.status != eRequestStatus_Paused)
        return ShownText(ToolTexts::IDS_IS_NOT_PAUSED, {name, word});
    if (key != 'c' && !platform::IsPlainFileName(name))
        return ShownText(ToolTexts::IDS_NAME_CANNOT_BE_PAUSED, {name});
    // The server has not taken it: there is nothing yet that it could cancel.
    if (platform::PathExists(m_session.RequestPath(name)))
        return ShownText(ToolTexts::IDS_COMMAND_FAILED, {});
    const eZelProcRequestStatus answer =
        key == 'c' ? client.Client().CancelRequest(name) : client.Client().PauseRequest(name);
    if (answer != eRequestStatus_Done)
        return WQ_ModuleText(ToolTexts::IDS_COMMAND_FAILED) + L": " + OneLine(client.Client().GetLastErrorText());
    const SRequestState after = ReadState(client.Client(), name);
    const bool isEnding = key == 'c' && !CZelRequestWatch::IsFinal(after.status);
    return ShownName(name) + L": " + (isEnding ? WQ_ModuleText(ToolTexts::IDS_WILL_END) : StatusWord(after.status));
}
