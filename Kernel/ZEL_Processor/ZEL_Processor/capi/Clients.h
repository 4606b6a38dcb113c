#pragma once

#include "capi/Block.h"
#include "capi/Handles.h"
#include "capi/ServerServices.h"

#include "ZEL_Processor/zel/Client.h"

#include <atomic>
#include <memory>
#include <set>

/// What the C interface may reach of the face.
struct zel::detail::Access {
    [[nodiscard]] static Parts& PartsOf(const Client& client) { return *client.m_parts; }
};

/// Whether this thread is in a callback that the C interface made.
class CInCallback {
public:
    CInCallback() { ++Depth(); }
    ~CInCallback() { --Depth(); }
    CInCallback(const CInCallback&) = delete;
    CInCallback& operator=(const CInCallback&) = delete;

    [[nodiscard]] static bool IsHere() { return Depth() > 0; }

private:
    [[nodiscard]] static int& Depth()
    {
        static thread_local int depth = 0;
        return depth;
    }
};

class COutputWatch;

/// A client and the watches that go with it.
class CClientObject {
public:
    explicit CClientObject(const zel::Options& options) : m_face(options) {}

    [[nodiscard]] const zel::Client& Face() const { return m_face; }
    [[nodiscard]] zel::detail::Core& Core() const { return zel::detail::Access::PartsOf(m_face).core; }
    [[nodiscard]] zel::Request Request(const std::wstring& name) const
    {
        return m_face.request(platform::ToUtf8(name)).value();
    }

    /// False when the client was closed.
    [[nodiscard]] bool AddWatch(const std::shared_ptr<COutputWatch>& watch);
    void Close();

private:
    const CServerServices::CInstalled m_services;
    const zel::Client m_face;
    platform::CMutex m_cs;
    bool m_bClosed ZEL_GUARDED_BY(m_cs) = false;
    std::vector<std::weak_ptr<COutputWatch>> m_watches ZEL_GUARDED_BY(m_cs);
};

using CClients = CHandles<CClientObject, zel_client>;

/// Calls body with the client of a handle.
template <class Body>
[[nodiscard]] zel_code WithClient(const zel_client* client, const Body& body) noexcept
{
    return CallSafely([&]() -> SOutcome {
        const std::shared_ptr<CClientObject> object = CClients::All().Find(client);
        return object ? body(*object) : BadArgument("client");
    });
}
/// The same with one of its requests.
template <class Body>
[[nodiscard]] zel_code WithRequest(const zel_client* client, const char* name, const Body& body) noexcept
{
    return WithClient(client, [&](CClientObject& object) -> SOutcome {
        std::wstring wide;
        SOutcome taken = TakeName(name, wide);
        return taken.IsGood() ? body(object, wide) : taken;
    });
}

/// The status of a request, for the caller; Part is in the block.
template <class Root>
void FillStatus(CBlock<Root>& block, zel_status& status, const std::wstring& name, const zel::Status& from)
{
    status.size = sizeof status;
    status.state = static_cast<std::int32_t>(from.state);
    status.percent = from.percent.value_or(-1);
    status.has_ended = from.hasEnded() ? 1 : 0;
    status.changed =
        from.changed ? std::chrono::floor<std::chrono::seconds>(*from.changed).time_since_epoch().count() : 0;
    status.name = block.Text(name);
    status.comment = block.Text(platform::FromUtf8(from.comment));
}
void GiveStatus(const std::wstring& name, const zel::Status& from, zel_status** status);
