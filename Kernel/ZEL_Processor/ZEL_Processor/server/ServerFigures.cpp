#include "ServerFigures.h"
#include "TurnList.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <algorithm>
#include <utility>

namespace {

bool IsFinal(eZelProcRequestStatus status)
{
    return status == eRequestStatus_Done || status == eRequestStatus_ServerError || status == eRequestStatus_Canceled;
}

void KeepLast(std::deque<SZelEndedFigures>& list, SZelEndedFigures ended)
{
    if (list.size() == SZelServerFigures::kMostListed)
        list.pop_back();
    list.push_front(std::move(ended));
}

} // namespace

CString CServerFigures::Cut(const CString& text, std::size_t most)
{
    if (text.size() <= most)
        return text;
    const auto isFirstHalf = [](wchar_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; };
    return text.substr(0, isFirstHalf(text[most - 1]) ? most - 1 : most);
}

void CServerFigures::Clear()
{
    const platform::CMutexLock lock(m_cs);
    m_counted = {};
    m_types.clear();
    m_runs.clear();
    m_ended.clear();
    m_failed.clear();
    m_nScans = 0;
    ++m_nChanges;
}

void CServerFigures::CountReceived()
{
    const platform::CMutexLock lock(m_cs);
    ++m_counted.received;
    ++m_nChanges;
}

void CServerFigures::CountRefused()
{
    const platform::CMutexLock lock(m_cs);
    ++m_counted.refused;
    ++m_nChanges;
}

void CServerFigures::CountEvent()
{
    const platform::CMutexLock lock(m_cs);
    ++m_counted.events;
    ++m_nChanges;
}

void CServerFigures::CountTaskHostRestart()
{
    const platform::CMutexLock lock(m_cs);
    ++m_counted.taskHostRestarts;
    ++m_nChanges;
}

void CServerFigures::Begin(std::size_t slot, const TSRequestItem& item, std::uint64_t bytes)
{
    SRun run;
    run.shown.slot = slot + 1;
    run.shown.name = Cut(platform::FileNameOf(item.m_strFile));
    run.shown.client = Cut(platform::FromUtf8(item.m_strClient));
    run.shown.since = platform::Clock().Steady();
    run.waited = std::max(run.shown.since - item.m_received, std::chrono::nanoseconds(0));
    const platform::CMutexLock lock(m_cs);
    run.shown.run = ++m_nRuns;
    m_counted.bytesRead += bytes;
    m_runs[slot] = std::move(run);
    ++m_nChanges;
}

void CServerFigures::SetType(std::size_t slot, const CString& type)
{
    const platform::CMutexLock lock(m_cs);
    if (const auto run = m_runs.find(slot); run != m_runs.end())
        run->second.shown.type = Cut(type);
    ++m_nChanges;
}

void CServerFigures::SetProgress(std::size_t slot, std::int32_t percent, const CString& comment)
{
    const platform::CMutexLock lock(m_cs);
    const auto run = m_runs.find(slot);
    if (run == m_runs.end())
        return;
    run->second.shown.percent = percent;
    run->second.shown.comment = Cut(comment);
    ++m_nChanges;
}

void CServerFigures::SetResponse(std::size_t slot, std::uint64_t bytes)
{
    const platform::CMutexLock lock(m_cs);
    if (const auto run = m_runs.find(slot); run != m_runs.end())
        run->second.response = bytes;
}

void CServerFigures::End(std::size_t slot, eZelProcRequestStatus status, const CString& reason)
{
    const std::chrono::nanoseconds now = platform::Clock().Steady();
    const platform::CMutexLock lock(m_cs);
    const auto found = m_runs.find(slot);
    if (found == m_runs.end())
        return;
    SRun run = std::move(found->second);
    m_runs.erase(found);
    ++m_nChanges;
    if (!IsFinal(status))
        return;
    SZelEndedFigures ended{.name = std::move(run.shown.name),
                           .type = std::move(run.shown.type),
                           .when = now,
                           .waited = run.waited,
                           .ran = now - run.shown.since,
                           .outcome = status,
                           .reason = status == eRequestStatus_ServerError ? Cut(reason) : CString()};
    m_counted.waiting.Add(ended.waited);
    m_counted.running.Add(ended.ran);
    if (status == eRequestStatus_Done)
        m_counted.bytesWritten += run.response;
    Keep(std::move(ended));
}

void CServerFigures::EndWaiting(const TSRequestItem& item)
{
    SZelEndedFigures ended{.name = Cut(platform::FileNameOf(item.m_strFile)),
                           .type = {},
                           .when = platform::Clock().Steady(),
                           .waited = {},
                           .ran = {},
                           .outcome = eRequestStatus_Canceled,
                           .reason = {}};
    ended.waited = std::max(ended.when - item.m_received, std::chrono::nanoseconds(0));
    const platform::CMutexLock lock(m_cs);
    Keep(std::move(ended));
    ++m_nChanges;
}

/// Strangers decide how many types there are, and what they are called.
void CServerFigures::Count(const CString& type, eZelProcRequestStatus outcome)
{
    const bool isNew = !m_types.contains(type) && !type.empty();
    const CString& counted =
        isNew && m_types.size() >= SZelServerFigures::kMostTypes ? CString(SZelServerFigures::kOtherTypes) : type;
    SZelTypeFigures& figures = m_types[counted];
    figures.type = counted;
    ++(outcome == eRequestStatus_Done          ? figures.done
       : outcome == eRequestStatus_ServerError ? figures.failed
                                               : figures.canceled);
}

void CServerFigures::Keep(SZelEndedFigures ended)
{
    Count(ended.type, ended.outcome);
    if (ended.outcome == eRequestStatus_ServerError)
        KeepLast(m_failed, ended);
    KeepLast(m_ended, std::move(ended));
}

void CServerFigures::Fill(SZelServerFigures& figures) const
{
    const platform::CMutexLock lock(m_cs);
    figures = m_counted;
    figures.changes = m_nChanges;
    figures.scans = m_nScans;
    figures.now = platform::Clock().Steady();
    for (const auto& [name, type] : m_types)
        figures.types.push_back(type);
    for (const auto& [slot, run] : m_runs)
        figures.runs.push_back(run.shown);
    figures.ended.assign(m_ended.begin(), m_ended.end());
    figures.failed.assign(m_failed.begin(), m_failed.end());
}
