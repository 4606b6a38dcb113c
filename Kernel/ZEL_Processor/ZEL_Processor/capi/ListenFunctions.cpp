#include "capi/Clients.h"
#include "capi/Wakers.h"

#include <cstring>

namespace {

using zel::detail::Core;

/// A registration. The client's parts are alive as long as it is.
struct SListenerObject {
    std::shared_ptr<CClientObject> client;
    zel::Listener listener;
    std::atomic<bool> isUsed = false;
};
using CListeners = CHandles<SListenerObject, zel_listener>;

/// Calls body unless another thread is in a call with it.
template <class Body>
zel_code WithListener(zel_listener* listener, const Body& body)
{
    return CallSafely([&]() -> SOutcome {
        const std::shared_ptr<SListenerObject> object = CListeners::All().Find(listener);
        if (!object)
            return BadArgument("listener");
        if (object->isUsed.exchange(true))
            return {ZEL_WRONG_TIME, "another thread is in a call with this listener"};
        struct SUse {
            SListenerObject& object;
            ~SUse() { object.isUsed = false; }
        };
        const SUse use{*object};
        return body(*object);
    });
}

zel_guid GuidOf(const GUID& from)
{
    static_assert(sizeof(zel_guid) == sizeof(GUID));
    zel_guid guid{};
    std::memcpy(&guid, &from, sizeof guid);
    return guid;
}

const zel_guid* GuidsOf(CBlock<zel_changes>& block, const std::vector<GUID>& from)
{
    auto* const guids = block.NewArray<zel_guid>(from.size());
    for (std::size_t index = 0; index < from.size(); ++index)
        guids[index] = GuidOf(from[index]);
    return guids;
}

zel_sources SourcesOf(CBlock<zel_changes>& block, const std::vector<zel::SourceNumbers>& from)
{
    auto** const sources = block.NewArray<const zel_numbers*>(from.size());
    for (std::size_t index = 0; index < from.size(); ++index) {
        auto* const source = block.New<zel_numbers>();
        source->source = GuidOf(from[index].source);
        source->count = from[index].numbers.size();
        source->numbers = block.Array(from[index].numbers);
        sources[index] = source;
    }
    return {from.size(), sources};
}

const zel_event* EventOf(CBlock<zel_changes>& block, const zel::Event& from)
{
    auto* const event = block.New<zel_event>();
    event->kind = static_cast<std::int32_t>(from.kind);
    event->added = SourcesOf(block, from.added);
    event->changed = SourcesOf(block, from.changed);
    event->removed = SourcesOf(block, from.removed);
    event->renamed = SourcesOf(block, from.renamed);
    event->affected = SourcesOf(block, from.affected);
    event->columns = SourcesOf(block, from.columns);
    event->source_count = from.sources.size();
    event->sources = GuidsOf(block, from.sources);
    return event;
}

SOutcome GiveChanges(const zel::Changes& from, zel_changes** changes)
{
    CBlock<zel_changes> block;
    std::vector<const zel_event*> events;
    for (const zel::Event& event : from.events)
        events.push_back(EventOf(block, event));
    block->event_count = events.size();
    block->events = block.Array(events);
    block->group_count = from.groups.size();
    block->groups = GuidsOf(block, from.groups);
    block->all_groups = from.allGroups ? 1 : 0;
    block->lock_results = from.lockResults ? 1 : 0;
    block.Give(changes);
    return {};
}

/// As zel::Listener::wait, which nobody wakes.
SOutcome WaitForChanges(SListenerObject& object, std::int64_t timeout, const std::shared_ptr<CWaker>& waker,
                        zel::Changes& changes)
{
    constexpr std::chrono::milliseconds kBusy{50};
    constexpr std::chrono::milliseconds kLookAnyway{1000};
    Core& core = object.client->Core();
    const zel::detail::Deadline deadline(TakeTimeout(timeout));
    zel::detail::WatchPool::Lease watch(core.watches);
    const CWakerUse use(waker, *watch.operator->());
    zel::detail::Presence server(core);
    for (;;) {
        const bool isLast = deadline.isOver() || use.IsWoken();
        zel::Result<zel::Changes> taken = object.listener.take();
        const bool isBusy = taken.code() == zel::Code::fileError && !isLast;
        if (taken && !taken->empty()) {
            changes = *std::move(taken);
            return {};
        }
        if (!taken && !isBusy)
            return taken;
        if (core.isStopped())
            return Core::stopped();
        if (use.IsWoken())
            return {ZEL_WOKEN, "the wait was woken"};
        if (isLast)
            return {ZEL_TIMEOUT, "nothing changed in time"};
        if (!server.canCome())
            return server.missing();
        const zel::detail::Reports reports;
        static_cast<void>(watch->WaitForChange(std::min(isBusy ? kBusy : kLookAnyway, server.slice(deadline))));
    }
}

} // namespace

extern "C" {

zel_code zel_listen(zel_client* client, zel_listener** listener)
{
    Forget(listener);
    return CallSafely([&]() -> SOutcome {
        const std::shared_ptr<CClientObject> object = CClients::All().Find(client);
        if (!object || listener == nullptr)
            return BadArgument("client or listener");
        zel::Result<zel::Listener> made = object->Face().listen();
        if (!made)
            return made;
        *listener =
            CListeners::All().Add(std::shared_ptr<SListenerObject>(new SListenerObject{object, *std::move(made)}));
        return {};
    });
}

zel_code zel_listener_take(zel_listener* listener, zel_changes** changes)
{
    Forget(changes);
    return WithListener(listener, [&](SListenerObject& object) -> SOutcome {
        if (changes == nullptr) // what is taken would be lost
            return BadArgument("changes");
        const zel::Result<zel::Changes> taken = object.listener.take();
        return taken ? GiveChanges(*taken, changes) : SOutcome(taken);
    });
}

zel_code zel_listener_wait(zel_listener* listener, int64_t timeout_ms, zel_waker* waker, zel_changes** changes)
{
    Forget(changes);
    return WithListener(listener, [&](SListenerObject& object) -> SOutcome {
        std::shared_ptr<CWaker> wakes;
        if (changes == nullptr || !TakeWaker(waker, wakes))
            return BadArgument("changes or waker");
        zel::Changes taken;
        SOutcome outcome = WaitForChanges(object, timeout_ms, wakes, taken);
        return outcome.IsGood() ? GiveChanges(taken, changes) : outcome;
    });
}

zel_code zel_listener_close(zel_listener* listener)
{
    return CallSafely([&]() -> SOutcome {
        const std::shared_ptr<SListenerObject> object = CListeners::All().Remove(listener);
        return object || listener == nullptr ? SOutcome() : BadArgument("listener");
    });
}

} // extern "C"
