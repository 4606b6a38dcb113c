#include "apps/zel/ProgressView.h"

#include "platform/Os.h"
#include "platform/Process.h"

#include "ToolTexts.h"

#include <algorithm>

namespace {

constexpr std::size_t kBarWidth = 20;
/// Below this the text matters more than the bar.
constexpr std::size_t kMinWidthForBar = 60;

std::wstring Bar(std::int32_t percent)
{
    const auto shown = static_cast<std::size_t>(std::clamp<std::int32_t>(percent, 0, 100));
    const std::size_t filled = kBarWidth * shown / 100;
    std::wstring number = std::to_wstring(shown);
    number.insert(0, 3 - number.size(), L' ');
    return L"[" + std::wstring(filled, L'#') + std::wstring(kBarWidth - filled, L' ') + L"] " + number + L" % ";
}

} // namespace

bool LooksLike(const SRequestState& left, const SRequestState& right)
{
    return left.name == right.name && left.status == right.status && left.percent == right.percent &&
           left.comment == right.comment;
}

std::wstring LeftText(const std::optional<CExpectedEnd::SRange>& left)
{
    if (!left)
        return {};
    const std::wstring shortest = AgeText(left->shortest.count());
    const std::wstring longest = AgeText(left->longest.count());
    return shortest == longest ? WQ_ModuleText(ToolTexts::IDS_LEFT, {longest})
                               : WQ_ModuleText(ToolTexts::IDS_LEFT_RANGE, {shortest, longest});
}

std::wstring ProgressBarLine(const SRequestState& state, std::size_t width, const std::wstring& left)
{
    std::wstring line;
    if (state.percent && width >= kMinWidthForBar)
        line = Bar(*state.percent) + (left.empty() ? left : left + L"  ");
    SRequestState text = state;
    if (!line.empty())
        text.percent.reset();
    line += ToText(text);
    if (line.size() > width)
        line.resize(width);
    return line;
}

CProgressView::CProgressView() : m_isTerminal(platform::IsTerminal(platform::eStream_Error)) {}

CProgressView::~CProgressView()
{
    if (!m_isTerminal || !m_shown)
        return;
    // Where both go to one screen, the line that is printed next tells the same.
    const bool isSeenAgain = platform::IsTerminal(platform::eStream_Output);
    platform::WriteConsoleText(platform::eStream_Error,
                               isSeenAgain ? L"\r" + std::wstring(m_shownLength, L' ') + L"\r" : L"\n");
}

void CProgressView::Show(const SRequestState& state)
{
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    m_end.Report(state.percent, now);
    const std::wstring left = m_isTerminal ? LeftText(m_end.Left(now)) : std::wstring();
    if (m_shown && LooksLike(*m_shown, state) && left == m_strLeft)
        return;
    m_shown = state;
    m_strLeft = left;
    if (!m_isTerminal) {
        platform::WriteConsoleText(platform::eStream_Error, ToText(state) + L"\n");
        return;
    }
    // The last column stays free: a terminal may wrap as soon as it is written to.
    const int width = std::max(platform::TerminalWidth(platform::eStream_Error) - 1, 1);
    const std::wstring line = ProgressBarLine(state, static_cast<std::size_t>(width), left);
    const std::size_t blanks = m_shownLength > line.size() ? m_shownLength - line.size() : 0;
    platform::WriteConsoleText(platform::eStream_Error, L"\r" + line + std::wstring(blanks, L' '));
    m_shownLength = line.size();
}
