#include "framework/Host.h"

#include "framework/DefaultHost.h"
#include "platform/NeverDestroyed.h"

#include <atomic>

namespace {

std::atomic<IWQ_Host*> installedHost{nullptr};

IWQ_Host& DefaultHost()
{
    static CNeverDestroyed<CWQ_DefaultHost> host;
    return host.Get();
}

} // namespace

IWQ_Host& WQ_Host()
{
    IWQ_Host* const host = installedHost.load(std::memory_order_acquire);
    return host != nullptr ? *host : DefaultHost();
}

IWQ_Host* SetWQ_Host(IWQ_Host* host)
{
    return installedHost.exchange(host, std::memory_order_acq_rel);
}
