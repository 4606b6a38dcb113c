#include "capi/Watches.h"

#include "platform/Os.h"

#include <functional>

bool COutputWatch::Start()
{
    // It outlives the object's handle where the callback closes that.
    std::function<void()> run = [self = shared_from_this()] { self->Run(); };
    const platform::CMutexLock lock(m_cs);
    if (m_bStops)
        return true;
    std::thread thread;
    if (!platform::Threads().Start(std::move(run), thread))
        return false;
    m_bEnded = false;
    thread.detach();
    return true;
}

void COutputWatch::Stop()
{
    platform::CMutexLock lock(m_cs);
    m_bStops = true;
    m_changed.NotifyAll();
    if (m_pWatch)
        m_pWatch->Wake();
    if (m_thread != std::this_thread::get_id())
        m_changed.Wait(lock, [this]() ZEL_REQUIRES(m_cs) { return m_bEnded; });
}

bool COutputWatch::Pause()
{
    platform::CMutexLock lock(m_cs);
    return !m_changed.WaitFor(lock, kPause, [this]() ZEL_REQUIRES(m_cs) { return m_bStops; });
}

bool COutputWatch::MayTell()
{
    const platform::CMutexLock lock(m_cs);
    return !m_bStops;
}

void COutputWatch::Run()
{
    {
        const platform::CMutexLock lock(m_cs);
        m_thread = std::this_thread::get_id();
    }
    do {
        {
            const zel::detail::Reports reports;
            static_cast<void>(m_pWatch->WaitForChange(kLookAnyway)); // the first one is there at once
        }
        if (!MayTell())
            break;
        const CInCallback inside;
        m_pCallback(m_pContext);
    } while (Pause());
    // Before it is said that this has ended: whoever waits for that may be about to remove the directories.
    std::unique_ptr<CZelRequestWatch> watch;
    {
        const platform::CMutexLock lock(m_cs);
        watch = std::move(m_pWatch);
    }
    watch.reset();
    m_pClient.reset();
    const platform::CMutexLock lock(m_cs);
    m_bEnded = true;
    m_changed.NotifyAll();
}

namespace {

/// Somebody is told of a request for as long as this lives.
struct SFollowerObject {
    explicit SFollowerObject(zel::Request&& followed) : request(std::move(followed)) {}

    const CServerServices::CInstalled services; ///< below what the request keeps installed beyond its client
    zel::Request request;
};

using CFollowers = CHandles<SFollowerObject, zel_follower>;
using CWatches = CHandles<COutputWatch, zel_watch>;

void TellStatus(zel_status_callback callback, void* context, const std::wstring& name, const zel::Status& from)
{
    CBlock<zel_status> block;
    FillStatus(block, *block, name, from);
    const CInCallback inside;
    callback(context, &*block);
}

} // namespace

extern "C" {

zel_code zel_follow(zel_client* client, const char* name, zel_status_callback callback, void* context,
                    zel_follower** follower)
{
    Forget(follower);
    return WithRequest(client, name, [&](const CClientObject& object, const std::wstring& wide) -> SOutcome {
        if (callback == nullptr || follower == nullptr)
            return BadArgument("callback or follower");
        const auto following = std::make_shared<SFollowerObject>(object.Request(wide));
        CNewHandle<CFollowers, zel_follower> handle(following, *follower); // before the first call, which may close it
        const zel::Result<void> followed = following->request.onChange(
            [=](const zel::Status& status) { TellStatus(callback, context, wide, status); });
        if (followed)
            handle.Keep();
        return followed;
    });
}

zel_code zel_follower_close(zel_follower* follower)
{
    return CallSafely([&]() -> SOutcome {
        const std::shared_ptr<SFollowerObject> object = CFollowers::All().Remove(follower);
        if (!object)
            return follower == nullptr ? SOutcome() : BadArgument("follower");
        static_cast<void>(object->request.onChange({}));
        return {};
    });
}

zel_code zel_watch_open(zel_client* client, zel_change_callback callback, void* context, zel_watch** watch)
{
    Forget(watch);
    return CallSafely([&]() -> SOutcome {
        const std::shared_ptr<CClientObject> object = CClients::All().Find(client);
        if (!object || callback == nullptr || watch == nullptr)
            return BadArgument("client, callback or watch");
        const auto watching = std::make_shared<COutputWatch>(object, callback, context);
        CNewHandle<CWatches, zel_watch> handle(watching, *watch);
        if (!object->AddWatch(watching))
            watching->Stop(); // the client is being closed
        if (!watching->Start())
            return {ZEL_SYSTEM_ERROR, "the system has no thread to give"};
        handle.Keep();
        return {};
    });
}

zel_code zel_watch_close(zel_watch* watch)
{
    return CallSafely([&]() -> SOutcome {
        const std::shared_ptr<COutputWatch> object = CWatches::All().Remove(watch);
        if (!object)
            return watch == nullptr ? SOutcome() : BadArgument("watch");
        object->Stop();
        return {};
    });
}

} // extern "C"
