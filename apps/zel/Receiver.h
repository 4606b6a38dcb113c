#pragma once

#include "apps/zel/ToolSession.h"

#include <string>

/// Takes what a request left behind.
class CReceiver {
public:
    explicit CReceiver(CToolSession& session) : m_session(session) {}

    /// Where the response of a request goes: into TARGET under the request's name when that is a directory.
    [[nodiscard]] static std::wstring TargetFor(const std::wstring& target, const std::wstring& name);

    /// Takes the response away from the output directory, replacing what is at the target, and removes the status. On
    /// whatever volume the target is. False with the reason; the response is then still in the output directory.
    [[nodiscard]] bool Receive(const std::wstring& name, const std::wstring& target, std::wstring& error);

    /// Removes the status of a request that ended without a response, so that its name can be used again.
    void Forget(const SRequestState& state);

private:
    [[nodiscard]] bool ReceiveByCopy(const std::wstring& name, const std::wstring& target, std::wstring& error);
    void RemoveOrTell(const std::wstring& path);

    CToolSession& m_session;
};
