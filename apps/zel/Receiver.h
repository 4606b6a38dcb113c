#pragma once

#include "apps/zel/ToolSession.h"

#include <string>

/// Takes what a request left behind. A target is "-" for standard output, a device or pipe, which is written into, or a
/// file, which the response replaces.
class CReceiver {
public:
    explicit CReceiver(CToolSession& session) : m_session(session) {}

    /// Where the response of a request goes: into TARGET under the request's name when that is a directory.
    [[nodiscard]] static std::wstring TargetFor(const std::wstring& target, const std::wstring& name);

    /// To be asked first. False, after a message, when standard output can't take the response because it has --json.
    [[nodiscard]] bool CheckTarget(const std::wstring& target);
    /// Tries whether a file can be made where the target is to be. False with the reason.
    [[nodiscard]] static bool TryTarget(const std::wstring& target, std::wstring& error);
    /// Puts the content of a response into the target. False with the reason.
    [[nodiscard]] static bool CopyTo(IPatience& patience, const std::wstring& response, const std::wstring& target,
                                     std::wstring& error);

    /// Takes the response away from the output directory, on whatever volume the target is, and removes the status. The
    /// file is the user's own then, with his mask: it is a copy. False with the reason; the response is then still in
    /// the output directory.
    [[nodiscard]] bool Receive(const std::wstring& name, const std::wstring& target, std::wstring& error);

    /// Gives response and status of a request another name, so that the name can be used again. Empty when they could
    /// not be moved.
    [[nodiscard]] std::wstring KeepElsewhere(const std::wstring& name);

    /// Removes the status of a request that ended without a response, so that its name can be used again.
    void Forget(const SRequestState& state);

private:
    [[nodiscard]] bool IsFree(const std::wstring& path);
    [[nodiscard]] static bool CopyBeside(IPatience& patience, const std::wstring& response, const std::wstring& target,
                                         std::wstring& error);
    bool RemoveOrTell(const std::wstring& path);

    CToolSession& m_session;
};
