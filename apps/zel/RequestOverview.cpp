#include "apps/zel/RequestOverview.h"

#include "ZEL_Processor/ZelRequestWatch.h"
#include "apps/zel/ProgressView.h"
#include "apps/zel/RequestNames.h"
#include "apps/zel/RunningSlots.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include "ToolTexts.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

/// For statuses that somebody has open: what is not told within it is told by a later round.
constexpr auto kRefreshPatience = 500ms;
constexpr auto kRoundPause = 1s;

} // namespace

CRequestOverview::CRequestOverview(CToolSession& session) : m_session(session)
{
    session.Client().SetGoOn([this] { return platform::Clock().Steady() < m_end && !m_session.IsInterrupted(); });
}

CRequestOverview::~CRequestOverview()
{
    m_session.SetUp(m_session.Client());
}

void CRequestOverview::BeginRound()
{
    m_isListingDue = true;
}

bool CRequestOverview::Refresh(std::vector<SRequestState>& changed, std::wstring& error)
{
    m_end = platform::Clock().Steady() + kRefreshPatience;
    if (m_isListingDue && !List(changed, error))
        return false;
    std::size_t looks = 0;
    for (auto& [name, entry] : m_entries) {
        if (entry.isKnown && IsAtWork(entry.state.status) && ++looks <= kLooks) {
            Look(entry, changed);
            m_todo.erase(name);
        }
    }
    for (looks = 0; looks < kLooks && !m_todo.empty(); ++looks) {
        if (const auto found = m_entries.find(*m_todo.begin()); found != m_entries.end())
            Look(found->second, changed);
        m_todo.erase(m_todo.begin());
    }
    return true;
}

/// In the order in which a request travels, so that none is missed that moves meanwhile.
bool CRequestOverview::List(std::vector<SRequestState>& changed, std::wstring& error)
{
    std::set<std::wstring> names;
    const SToolOptions& options = m_session.Options();
    for (const std::wstring& directory : {options.requestDir, m_session.QueuePath({}), options.outputDir}) {
        std::vector<platform::SDirectoryEntry> files;
        const platform::eOsError failure = platform::Files().List(directory, files);
        if (!platform::Succeeded(failure) && !platform::IsAbsent(failure)) {
            error = ShownText(ToolTexts::IDS_CANNOT_BE_READ, {directory, platform::OsErrorText(failure)});
            return false;
        }
        for (const platform::SDirectoryEntry& file : files) {
            if (std::wstring name = RequestOfFile(file.name); !file.isDirectory && !name.empty())
                names.insert(std::move(name));
        }
    }
    for (auto entry = m_entries.begin(); entry != m_entries.end();) {
        if (names.contains(entry->first)) {
            ++entry;
            continue;
        }
        if (entry->second.isKnown && entry->second.state.status != eRequestStatus_NotRequested) {
            SRequestState& gone = changed.emplace_back();
            gone.name = entry->first;
            gone.status = eRequestStatus_NotRequested;
        }
        entry = m_entries.erase(entry);
    }
    // A round that is going on comes to its end first: else the last names would wait as long as something changes.
    const bool isRoundOver = m_todo.empty();
    std::erase_if(m_todo, [&](const std::wstring& name) { return !names.contains(name); });
    for (const std::wstring& name : names) {
        const auto [entry, isNew] = m_entries.try_emplace(name);
        entry->second.state.name = name;
        if (isNew || isRoundOver)
            m_todo.insert(name);
    }
    m_isListingDue = !isRoundOver;
    return true;
}

void CRequestOverview::Look(SEntry& entry, std::vector<SRequestState>& changed)
{
    const SRequestState state = ReadState(m_session.Client(), entry.state.name);
    if (state.status == eRequestStatus_NotIntialized)
        return; // somebody has it open
    entry.end.Report(CZelRequestWatch::IsFinal(state.status) ? std::nullopt : state.percent,
                     platform::Clock().Steady());
    if (entry.isKnown && LooksLike(entry.state, state))
        return;
    entry.state = state;
    entry.isKnown = true;
    changed.push_back(state);
}

bool CRoundClock::IsDue()
{
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    if (now - m_last < kRoundPause)
        return false;
    m_last = now;
    return true;
}
