#include "capi/Clients.h"
#include "capi/ServerServices.h"
#include "capi/Servers.h"

#include "com/CreateInstance.h"

#include <cstring>

namespace {

/// One server at a time.
std::atomic<bool>& IsServerThere()
{
    static std::atomic<bool> isThere = false;
    return isThere;
}

template <class Body>
zel_code WithServer(zel_server* server, const Body& body)
{
    return CallSafely([&]() -> SOutcome {
        const std::shared_ptr<CServerObject> object = CServers::All().Find(server);
        return object ? body(*object) : BadArgument("server");
    });
}

GUID ServerGuidOf(const zel_guid& from)
{
    GUID guid;
    std::memcpy(&guid, &from, sizeof guid);
    return guid;
}

constexpr std::size_t kMaxNumbers = 10'000'000;

/// False for what is not to be read.
bool TakeSources(const zel_sources& given, CComPtr<IWQ_DsList>& list)
{
    list = MakeDsList();
    if (given.count > ZEL_MAX_NAMES || (given.count != 0 && given.sources == nullptr))
        return false;
    for (std::size_t index = 0; index < given.count; ++index) {
        const zel_numbers* const source = given.sources[index];
        if (source == nullptr || source->size < sizeof *source || source->count > kMaxNumbers ||
            (source->count != 0 && source->numbers == nullptr))
            return false;
        const CComPtr<IWQ_DsItems> items = MakeDsItems();
        for (std::size_t number = 0; number < source->count; ++number)
            ThrowIfFailed(items->Add(source->numbers[number]));
        const GUID key = ServerGuidOf(source->source);
        ThrowIfFailed(list->Put(&key, items.Get()));
    }
    return true;
}

SOutcome TakeEvent(const zel_event& given, CComPtr<IWQ_DsEventsData>& events)
{
    using Putter = HRESULT (STDMETHODCALLTYPE IWQ_DsEventsData::*)(IWQ_DsList*);
    const std::pair<const zel_sources*, Putter> parts[] = {
        {&given.added, &IWQ_DsEventsData::PutAddedItems},       {&given.changed, &IWQ_DsEventsData::PutChangedItems},
        {&given.removed, &IWQ_DsEventsData::PutRemovedItems},   {&given.renamed, &IWQ_DsEventsData::PutRenamedItems},
        {&given.affected, &IWQ_DsEventsData::PutAffectedItems}, {&given.columns, &IWQ_DsEventsData::PutChangedColumns}};
    if (given.source_count > ZEL_MAX_NAMES || (given.source_count != 0 && given.sources == nullptr))
        return BadArgument("event");
    ThrowIfFailed(CoCreateInstanceZEL(kClsidDsEventsData, nullptr, CLSCTX_INPROC_SERVER, ComIid<IWQ_DsEventsData>(),
                                      events.PutVoid()));
    for (const auto& [sources, put] : parts) {
        CComPtr<IWQ_DsList> list;
        if (!TakeSources(*sources, list))
            return BadArgument("event");
        ThrowIfFailed((events.Get()->*put)(list.Get()));
    }
    const CComPtr<IWQ_DsGuidSet> set = MakeDsGuidSet();
    for (std::size_t index = 0; index < given.source_count; ++index) {
        const GUID guid = ServerGuidOf(given.sources[index]);
        ThrowIfFailed(set->Add(&guid));
    }
    ThrowIfFailed(events->PutChangedSources(set.Get()));
    ThrowIfFailed(events->PutKind(given.kind));
    return {};
}

SOutcome StartServer(STakenOptions taken, const std::wstring& requests, const std::wstring& output, zel_server** server)
{
    struct SStarting {
        std::shared_ptr<CServerObject> object;
        ~SStarting()
        {
            if (!object)
                return;
            object->Stop(true);
            CServerServices::SetCallbacks(nullptr);
        }
    };
    SStarting starting{std::make_shared<CServerObject>(std::move(taken), requests, output)};
    CServerServices::SetCallbacks(&starting.object->Given());
    SOutcome started = starting.object->Start();
    if (!started.IsGood())
        return started;
    *server = CServers::All().Add(starting.object);
    starting.object.reset();
    return {};
}

} // namespace

extern "C" {

zel_code zel_server_options_init(zel_server_options* options, size_t size, int32_t kind)
{
    return CallSafely([&]() -> SOutcome {
        if (kind != ZEL_SERVER_PROTOCOL && kind != ZEL_SERVER_USUAL)
            return BadArgument("kind");
        const zel_server_options defaults = MakeServerOptions(kind == ZEL_SERVER_USUAL);
        return GiveStructure(options, size, sizeof defaults, defaults);
    });
}

zel_code zel_server_start(const char* request_directory, const char* output_directory,
                          const zel_server_options* options, zel_server** server)
{
    Forget(server);
    return CallSafely([&]() -> SOutcome {
        std::wstring requests;
        std::wstring output;
        STakenOptions taken;
        if (server == nullptr || !TakePath(request_directory, requests) || !TakePath(output_directory, output))
            return BadArgument("directories or server");
        if (SOutcome chosen = TakeServerOptions(options, taken); !chosen.IsGood())
            return chosen;
        if (CInCallback::IsHere() || IsServerThere().exchange(true))
            return {ZEL_WRONG_TIME, "there is a server in this process"};
        SOutcome started{ZEL_INTERNAL, {}};
        try {
            started = StartServer(std::move(taken), requests, output, server);
        } catch (...) {
            IsServerThere() = false;
            throw;
        }
        IsServerThere() = started.IsGood();
        return started;
    });
}

zel_code zel_server_step(zel_server* server)
{
    return WithServer(server, [](CServerObject& object) {
        return object.With([](CZelProcessorServer& inner) -> SOutcome {
            inner.ProceedQueue();
            return {};
        });
    });
}

zel_code zel_server_set_manual(zel_server* server, int32_t manual)
{
    return WithServer(server, [&](CServerObject& object) {
        return object.With([&](CZelProcessorServer& inner) -> SOutcome {
            inner.SetManualProceedQueue(manual != 0);
            return {};
        });
    });
}

zel_code zel_server_state(zel_server* server, int32_t* state)
{
    return WithServer(server, [&](const CServerObject& object) -> SOutcome {
        if (state == nullptr)
            return BadArgument("state");
        *state = object.State();
        return {};
    });
}

zel_code zel_server_makes_progress(zel_server* server, int32_t* progress)
{
    return WithServer(server, [&](CServerObject& object) -> SOutcome {
        if (progress == nullptr)
            return BadArgument("progress");
        return object.With([&](CZelProcessorServer& inner) -> SOutcome {
            *progress = inner.MakesProgress() ? 1 : 0;
            return {};
        });
    });
}

zel_code zel_server_drain(zel_server* server, int64_t timeout_ms)
{
    return WithServer(server, [&](CServerObject& object) -> SOutcome {
        if (CInCallback::IsHere())
            return {ZEL_WRONG_TIME, "a callback cannot wait for the server"};
        return object.Drain(TakeTimeout(timeout_ms));
    });
}

zel_code zel_server_stop(zel_server* server, int32_t cancel)
{
    return CallSafely([&]() -> SOutcome {
        if (CInCallback::IsHere())
            return {ZEL_WRONG_TIME, "a callback cannot stop the server"};
        const std::shared_ptr<CServerObject> object = CServers::All().Remove(server);
        if (!object)
            return server == nullptr ? SOutcome() : BadArgument("server");
        object->Stop(cancel != 0);
        CServerServices::SetCallbacks(nullptr);
        IsServerThere() = false;
        return {};
    });
}

zel_code zel_server_tell_changes(zel_server* server, const zel_event* event)
{
    return WithServer(server, [&](CServerObject& object) -> SOutcome {
        if (event == nullptr || event->size < sizeof *event)
            return BadArgument("event");
        const zel::Session session;
        CComPtr<IWQ_DsEventsData> events;
        if (SOutcome taken = TakeEvent(*event, events); !taken.IsGood())
            return taken;
        return object.With([&](CZelProcessorServer& inner) -> SOutcome {
            inner.OnChangedDs(events.Get());
            return {};
        });
    });
}

zel_code zel_server_tell_lock_results(zel_server* server)
{
    return WithServer(server, [](CServerObject& object) {
        const zel::Session session;
        return object.With([](CZelProcessorServer& inner) -> SOutcome {
            inner.OnChangedLockResults();
            return {};
        });
    });
}

} // extern "C"
