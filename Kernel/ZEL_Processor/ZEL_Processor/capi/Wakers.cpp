#include "capi/Wakers.h"

#include "capi/Block.h"

void CWaker::Wake()
{
    m_bWoken = true;
    const platform::CMutexLock lock(m_cs);
    for (CZelRequestWatch* const watch : m_watches)
        watch->Wake();
}

CWakerUse::CWakerUse(std::shared_ptr<CWaker> waker, CZelRequestWatch& watch)
    : m_pWaker(std::move(waker)), m_watch(watch)
{
    if (!m_pWaker)
        return;
    const platform::CMutexLock lock(m_pWaker->m_cs);
    m_pWaker->m_watches.insert(&m_watch);
}

CWakerUse::~CWakerUse()
{
    if (!m_pWaker)
        return;
    const platform::CMutexLock lock(m_pWaker->m_cs);
    m_pWaker->m_watches.erase(m_pWaker->m_watches.find(&m_watch));
}

bool TakeWaker(const zel_waker* given, std::shared_ptr<CWaker>& waker)
{
    if (given != nullptr)
        waker = CWakers::All().Find(given);
    return given == nullptr || waker != nullptr;
}

extern "C" {

zel_code zel_waker_open(zel_waker** waker)
{
    Forget(waker);
    return CallSafely([&]() -> SOutcome {
        if (waker == nullptr)
            return BadArgument("waker");
        *waker = CWakers::All().Add(std::make_shared<CWaker>());
        return {};
    });
}

zel_code zel_waker_wake(zel_waker* waker)
{
    return CallSafely([&]() -> SOutcome {
        const std::shared_ptr<CWaker> object = CWakers::All().Find(waker);
        if (!object)
            return BadArgument("waker");
        object->Wake();
        return {};
    });
}

zel_code zel_waker_reset(zel_waker* waker)
{
    return CallSafely([&]() -> SOutcome {
        const std::shared_ptr<CWaker> object = CWakers::All().Find(waker);
        if (!object)
            return BadArgument("waker");
        object->Reset();
        return {};
    });
}

zel_code zel_waker_close(zel_waker* waker)
{
    return CallSafely([&]() -> SOutcome {
        const std::shared_ptr<CWaker> object = CWakers::All().Remove(waker);
        if (!object)
            return waker == nullptr ? SOutcome() : BadArgument("waker");
        object->Wake();
        return {};
    });
}

} // extern "C"
