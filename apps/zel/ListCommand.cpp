#include "apps/zel/ListCommand.h"

#include "Kernel/ZEL_Processor/ZEL_Processor/protocol/RequestAttributes.h"
#include "apps/zel/ListTable.h"
#include "apps/zel/RequestNames.h"
#include "apps/zel/RunningOrder.h"
#include "apps/zel/RunningSlots.h"
#include "apps/zel/ServerWatch.h"
#include "platform/AccountName.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

namespace {

constexpr std::int64_t kNanoseconds = 1'000'000'000;

constexpr std::pair<const char*, eListOrder> kOrders[] = {
    {"name", eListOrder_Name}, {"status", eListOrder_Status}, {"position", eListOrder_Position},
    {"age", eListOrder_Age},   {"size", eListOrder_Size},     {"owner", eListOrder_Owner},
};

std::optional<std::int64_t> ArrivalOf(const std::wstring& path)
{
    platform::FileTimeNs time = 0;
    return platform::Succeeded(platform::Files().GetChangeTime(path, time)) ? std::optional(time) : std::nullopt;
}

/// Those of a directory that have no status of the server's.
std::vector<SWaitingRequest> FindWaiting(const CToolSession& session, const std::set<std::wstring>& names,
                                         std::wstring (CToolSession::*path)(const std::wstring&) const)
{
    std::vector<SWaitingRequest> waiting;
    for (const std::wstring& name : names) {
        const std::optional<std::int64_t> arrival = ArrivalOf((session.*path)(name));
        if (arrival && !platform::PathExists(session.StatusPath(name)))
            waiting.push_back({.name = name, .arrival = *arrival});
    }
    return waiting;
}

/// A server that tells what it is lets users take turns and looks how urgent a request is; one with --strict tells
/// nothing.
bool HasTurns(CToolSession& session)
{
    const SZelServerInfo server = session.Client().GetServerInfo();
    return server.presence == eServerPresence_Serves && !server.version.empty();
}

std::map<std::wstring, std::int64_t> FindPositions(CToolSession& session, const std::set<std::wstring>& queued,
                                                   const std::set<std::wstring>& sent)
{
    std::vector<SWaitingRequest> first = FindWaiting(session, queued, &CToolSession::QueuePath);
    if (!first.empty() && HasTurns(session)) {
        for (SWaitingRequest& request : first) {
            const std::wstring path = session.QueuePath(request.name);
            static_cast<void>(platform::Files().GetOwner(path, request.owner));
            const SRequestAttributes attributes = SRequestAttributes::Read(path);
            request.priority = attributes.priority;
            request.isLater = attributes.notBefore > platform::Clock().UtcSeconds();
        }
        std::erase_if(first, [](const SWaitingRequest& request) { return request.isLater; });
        SortByTurns(first);
    } else {
        SortByArrival(first);
    }
    // What the server has not taken yet it has not looked into, and nobody else is to open it before.
    std::vector<SWaitingRequest> then = FindWaiting(session, sent, &CToolSession::RequestPath);
    SortByArrival(then);
    std::map<std::wstring, std::int64_t> positions;
    for (const std::vector<SWaitingRequest>* part : {&first, &then}) {
        for (const SWaitingRequest& request : *part)
            positions.emplace(request.name, static_cast<std::int64_t>(positions.size()) + 1);
    }
    return positions;
}

} // namespace

void CListCommand::Define(CLI::App& app)
{
    std::vector<std::string> names;
    std::ranges::transform(kOrders, std::back_inserter(names), [](const auto& order) { return order.first; });
    app.add_option("--sort", m_sort, HelpText(ToolTexts::IDS_HELP_SORT))
        ->type_name("FIELD")
        ->check(CLI::IsMember(names).description(""));
}

int CListCommand::Run(CToolSession& session)
{
    // In the order in which a request travels, so that none is missed that moves meanwhile.
    const SToolOptions& options = session.Options();
    std::set<std::wstring> sent;
    std::set<std::wstring> queued;
    std::set<std::wstring> names;
    if (!AddNames(options.requestDir, sent) || !AddNames(session.QueuePath({}), queued) ||
        !AddNames(options.outputDir, names))
        return eExitCode_ClientError;
    const Positions positions = FindPositions(session, queued, sent);
    names.insert(sent.begin(), sent.end());
    names.insert(queued.begin(), queued.end());
    const eExitCode code = ListAll(session, names, positions);
    if (!m_sort.empty())
        SortList(m_states, std::ranges::find(kOrders, m_sort, &std::pair<const char*, eListOrder>::first)->second);
    if (!options.json && !options.quiet) {
        const bool isTerminal = platform::IsTerminal(platform::eStream_Output);
        const int width = isTerminal ? std::max(platform::TerminalWidth(platform::eStream_Output) - 1, 1) : 0;
        static_cast<void>(
            platform::WriteConsoleText(platform::eStream_Output, ListTable(m_states, static_cast<std::size_t>(width))));
    }
    for (const SRequestState& state : options.json ? m_states : std::vector<SRequestState>())
        session.Print(state);
    return code;
}

eExitCode CListCommand::ListAll(CToolSession& session, const std::set<std::wstring>& names, const Positions& positions)
{
    CRunningSlots slots(session);
    for (const std::wstring& name : names) {
        eExitCode code = eExitCode_Done;
        std::optional<SRequestState> state = session.Look(session.Client(), name, code);
        if (!state)
            return code;
        // One without any file by now was received while we looked.
        if (state->status == eRequestStatus_NotRequested && !platform::PathExists(session.OutputPath(name)))
            continue;
        state->stage = slots.StageOf(*state);
        AddFileTexts(session, positions, *state);
        // What needs no order of its own is told as it is found: a status that somebody holds may take long.
        if (session.Options().json && m_sort.empty())
            session.Print(*state);
        else
            m_states.push_back(std::move(*state));
    }
    CServerWatch::TellWhenDeadOrHeld(session);
    return eExitCode_Done;
}

void CListCommand::AddFileTexts(const CToolSession& session, const Positions& positions, SRequestState& state)
{
    const bool isWaiting = state.status == eRequestStatus_Waiting || state.status == eRequestStatus_Paused;
    const std::wstring places[] = {session.QueuePath(state.name), session.RequestPath(state.name),
                                   session.OutputPath(state.name), session.StatusPath(state.name)};
    SRequestFiles& files = state.files.emplace();
    platform::SFileAttributes attributes;
    const auto* const place = std::ranges::find_if(places, [&](const auto& path) {
        return platform::Succeeded(platform::Files().GetAttributes(path, attributes));
    });
    if (place != std::end(places)) {
        if (place != std::prev(std::end(places))) // a status is not what the user has sent or gets
            files.size = attributes.length;
        files.owner = OwnerName(*place);
    }
    if (IsAtWork(state.status))
        files.position = 0;
    else if (const auto found = positions.find(state.name); isWaiting && found != positions.end())
        files.position = found->second;
    std::optional<std::int64_t>& since = state.stage->since;
    if (!since && place != std::end(places)) {
        if (const std::optional<std::int64_t> arrival = ArrivalOf(*place))
            since = *arrival / kNanoseconds;
    }
    if (since)
        state.age = std::max<std::int64_t>(platform::Clock().UtcSeconds() - *since, 0);
}

/// Asked once for each, for the answer may come from another machine.
const std::wstring& CListCommand::OwnerName(const std::wstring& path)
{
    platform::FileOwner owner;
    static_cast<void>(platform::Files().GetOwner(path, owner));
    const auto [entry, isNew] = m_owners.try_emplace(owner);
    if (isNew)
        entry->second = platform::AccountName(owner);
    return entry->second;
}

bool CListCommand::AddNames(const std::wstring& directory, std::set<std::wstring>& names)
{
    std::vector<platform::SDirectoryEntry> entries;
    const platform::eOsError error = platform::Files().List(directory, entries);
    if (!platform::Succeeded(error) && !platform::IsAbsent(error)) {
        PrintError(L"zel", ShownText(ToolTexts::IDS_CANNOT_BE_READ, {directory, platform::OsErrorText(error)}));
        return false;
    }
    for (const platform::SDirectoryEntry& entry : entries) {
        const std::wstring name = RequestOfFile(entry.name);
        if (!entry.isDirectory && !name.empty())
            names.insert(name);
    }
    return true;
}
