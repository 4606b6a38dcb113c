#pragma once

#include "ZEL_Processor/zel/Events.h"
#include "ZEL_Processor/zel/Request.h"

#include <memory>

namespace zel {

/// A client that is registered with the server, which tells it of changes in the data. Unregisters in its end, which
/// can take as long as a command when the server does not answer; with its answer no file is left. Made by
/// Client::listen; it may outlive that client, but the stop of the client ends its waits. One thread at a time.
class Listener {
public:
    /// What came since the last look. Code::fileError: nothing was taken, and it comes again with a later look:
    /// somebody writes just now, or the registration was lost and no server gives a new one. Code::systemError.
    [[nodiscard]] Result<Changes> take()
    {
        const Session session;
        const detail::Reports reports;
        Changes changes;
        try {
            const bool isAllTaken = takeEvents(changes) && takeGroups(changes) && takeLockResults(changes);
            if (!isAllTaken && changes.empty()) // else the rest comes with the next look
                return Error{Code::fileError, detail::whyFailed("cannot be read now", *m_state->client, reports)};
        } catch (const CComError& error) {
            return Error{Code::systemError, reports.behind(error.what())};
        }
        return changes;
    }
    /// Sleeps until something came, for time at most. Code::timeout, noServer, stopped, or as take. After noServer it
    /// may be waited again: a server that comes back is registered with again.
    [[nodiscard]] Result<Changes> wait(std::chrono::milliseconds time)
    {
        const detail::Deadline deadline(time);
        detail::WatchPool::Lease watch(m_state->core->watches);
        detail::Presence server(*m_state->core);
        for (;;) {
            const bool isLast = deadline.isOver();
            Result<Changes> changes = take();
            // Somebody writes just now, perhaps.
            const bool isBusy = changes.code() == Code::fileError && !isLast;
            if (!isBusy && (!changes || !changes->empty()))
                return changes;
            if (m_state->core->isStopped())
                return detail::Core::stopped();
            if (isLast)
                return Error{Code::timeout, "nothing changed in time"};
            if (!server.canCome())
                return server.missing();
            static_cast<void>(watch->WaitForChange(std::min(isBusy ? kBusy : kLookAnyway, server.slice(deadline))));
        }
    }

private:
    friend class Client;
    static constexpr std::chrono::milliseconds kBusy{50};
    static constexpr std::chrono::milliseconds kLookAnyway{1000};

    struct State {
        explicit State(std::shared_ptr<detail::Parts> owner)
            : parts(std::move(owner)), core(&parts->core), place(core->place.options)
        {
            place.prepare(client.emplace());
            client->SetPresence(true);
            client->SetRegistersAgain(true);
            client->SetGoOn([this] { return !core->isStopped(); });
        }
        ~State()
        {
            const Session session;
            const detail::Reports reports; // of a server that is gone
            const std::wstring events = client->GetDsEventsFileFullPath();
            const std::wstring groups = client->GetInsertableItemsChangeFile();
            const std::wstring lockResults = client->GetLockResultsChangeFile();
            client.reset(); // unregisters: the server removes the events, and leaves the others to whom they are of
            if (events.empty() || detail::Core::exists(events))
                return;
            detail::Core::removeWhenFree(groups);
            detail::Core::removeWhenFree(lockResults);
        }
        State(const State&) = delete;
        State& operator=(const State&) = delete;

        std::shared_ptr<detail::Parts> parts;
        detail::Core* core;
        detail::Place place;
        std::optional<CZelProcessorClient> client;
    };

    explicit Listener(std::unique_ptr<State> state) : m_state(std::move(state)) {}

    [[nodiscard]] static bool hasContent(const std::wstring& path)
    {
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(detail::pathOf(path), error);
        return !error && size != 0;
    }
    [[nodiscard]] bool takeEvents(Changes& changes)
    {
        const std::wstring path = m_state->client->GetDsEventsFileFullPath();
        if (detail::Core::exists(path) && !hasContent(path))
            return true;
        std::vector<CComPtr<IWQ_DsEventsData>> events;
        if (!m_state->client->GetDsEvents(events))
            return false;
        for (const CComPtr<IWQ_DsEventsData>& event : events)
            changes.events.push_back(detail::toEvent(*event));
        return true;
    }
    [[nodiscard]] bool takeGroups(Changes& changes)
    {
        if (!hasContent(m_state->client->GetInsertableItemsChangeFile()))
            return true;
        CComPtr<IWQ_CLSIDArray> groups;
        if (!m_state->client->GetChangedInsertableItemsGroups(groups.Put()))
            return false;
        changes.allGroups = !groups;
        if (groups)
            changes.groups = detail::toGuids(*groups);
        return true;
    }
    [[nodiscard]] bool takeLockResults(Changes& changes)
    {
        if (!hasContent(m_state->client->GetLockResultsChangeFile()))
            return true;
        changes.lockResults = m_state->client->ResetLockResultsChanged();
        return changes.lockResults;
    }

    std::unique_ptr<State> m_state;
};

} // namespace zel
