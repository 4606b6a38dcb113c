#include "capi/Clients.h"
#include "capi/Wakers.h"

namespace {

using zel::detail::Core;
using zel::detail::Deadline;
using zel::detail::Presence;
using zel::detail::Reports;
using zel::detail::WatchPool;

/// As often as somebody looks without a change: nobody tells of a request that is taken out of the queue unseen.
constexpr std::chrono::milliseconds kLookAnyway{1000};

SOutcome Woken()
{
    return {ZEL_WOKEN, "the wait was woken"};
}

SOutcome WaitForOne(Core& core, const std::wstring& name, std::int64_t timeout, const std::shared_ptr<CWaker>& waker,
                    zel::Status& status)
{
    const Deadline deadline(TakeTimeout(timeout));
    const Reports reports;
    WatchPool::Lease watch(core.watches);
    const CWakerUse use(waker, *watch.operator->());
    Presence server(core);
    for (;;) {
        const auto time = use.IsWoken() ? std::chrono::milliseconds(0) : server.slice(deadline);
        CZelProcessorClient::CAdditionalRequestStatus more;
        const eZelProcRequestStatus state = watch->WaitForEnd(name, time, &more);
        status = state == eRequestStatus_ClientError ? core.status(name) : zel::detail::toStatus(state, more);
        if (status.hasEnded())
            return zel::detail::endOf(status);
        if (core.isStopped())
            return Core::stopped();
        if (use.IsWoken())
            return Woken();
        if (deadline.isOver())
            return {ZEL_TIMEOUT, "the request has not ended in time: " + std::string(zel::nameOf(status.state))};
        if (!server.canCome())
            return server.missing();
    }
}

/// The place of the first that has ended.
SOutcome WaitForAny(Core& core, const std::vector<std::wstring>& names, std::int64_t timeout,
                    const std::shared_ptr<CWaker>& waker, std::size_t& place, zel::Status& status)
{
    const Deadline deadline(TakeTimeout(timeout));
    WatchPool::Lease watch(core.watches);
    const CWakerUse use(waker, *watch.operator->());
    Presence server(core);
    for (;;) {
        const bool isLast = deadline.isOver() || use.IsWoken();
        for (place = 0; place < names.size(); ++place) {
            status = core.status(names[place]);
            if (status.hasEnded())
                return {};
        }
        if (core.isStopped())
            return Core::stopped();
        if (use.IsWoken())
            return Woken();
        if (isLast)
            return {ZEL_TIMEOUT, "none of the requests has ended in time"};
        if (!server.canCome())
            return server.missing();
        const Reports reports;
        static_cast<void>(watch->WaitForChange(std::min(deadline.left(), kLookAnyway)));
    }
}

} // namespace

void GiveStatus(const std::wstring& name, const zel::Status& from, zel_status** status)
{
    if (status == nullptr)
        return;
    CBlock<zel_status> block;
    FillStatus(block, *block, name, from);
    block.Give(status);
}

extern "C" {

const char* zel_state_name(int32_t state)
{
    return zel::nameOf(static_cast<zel::State>(state)).data();
}

zel_code zel_get_status(zel_client* client, const char* name, zel_status** status)
{
    Forget(status);
    return WithRequest(client, name, [&](const CClientObject& object, const std::wstring& wide) -> SOutcome {
        GiveStatus(wide, object.Core().status(wide), status);
        return {};
    });
}

zel_code zel_wait(zel_client* client, const char* name, int64_t timeout_ms, zel_waker* waker, zel_status** status)
{
    Forget(status);
    return WithRequest(client, name, [&](const CClientObject& object, const std::wstring& wide) -> SOutcome {
        std::shared_ptr<CWaker> wakes;
        if (!TakeWaker(waker, wakes))
            return BadArgument("waker");
        zel::Status last;
        SOutcome outcome = WaitForOne(object.Core(), wide, timeout_ms, wakes, last);
        GiveStatus(wide, last, status);
        return outcome;
    });
}

zel_code zel_wait_any(zel_client* client, const char* const* names, size_t count, int64_t timeout_ms, zel_waker* waker,
                      size_t* index, zel_status** status)
{
    Forget(status);
    return WithClient(client, [&](const CClientObject& object) -> SOutcome {
        std::shared_ptr<CWaker> wakes;
        if (names == nullptr || count == 0 || count > ZEL_MAX_NAMES || index == nullptr || !TakeWaker(waker, wakes))
            return BadArgument("names, index or waker");
        std::vector<std::wstring> wide(count);
        for (std::size_t place = 0; place < count; ++place) {
            if (SOutcome taken = TakeName(names[place], wide[place]); !taken.IsGood())
                return taken;
        }
        zel::Status last;
        SOutcome outcome = WaitForAny(object.Core(), wide, timeout_ms, wakes, *index, last);
        if (outcome.IsGood())
            GiveStatus(wide[*index], last, status);
        return outcome;
    });
}

} // extern "C"
