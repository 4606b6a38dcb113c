#pragma once

#include "apps/zel/ToolSession.h"

#include <functional>
#include <string>

/// The name of standard input and output where files are named; a file of this name is "./-".
constexpr const wchar_t* kStandardStream = L"-";

/// Hands files over to the server under a name. The user's file is copied first, so that it stays as it is until the
/// request is sent and a server never meets a half-written one.
class CSender {
public:
    explicit CSender(CToolSession& session) : m_session(session) {}

    /// The source is a file, or standard input. False with the reason; nothing was sent then, and the source is where
    /// it was.
    [[nodiscard]] bool Send(const std::wstring& source, const std::wstring& name, std::wstring& error);
    /// The same of a request that is no file yet.
    [[nodiscard]] bool SendText(const std::string& text, const std::wstring& name, std::wstring& error);

private:
    /// Makes the file that is handed over.
    using Stage = std::function<bool(const std::wstring& staged, std::wstring& error)>;
    [[nodiscard]] bool SendStaged(const std::wstring& name, const Stage& stage, std::wstring& error);
    [[nodiscard]] bool HandOver(const std::wstring& staged, const std::wstring& name, std::wstring& error);
    /// True with a text when some file of a request of this name exists.
    [[nodiscard]] bool IsInUse(const std::wstring& name, std::wstring& error);

    CToolSession& m_session;
};
