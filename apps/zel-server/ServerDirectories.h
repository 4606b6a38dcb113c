#pragma once

#include "apps/zel-server/ServerOptions.h"
#include "platform/FileSystem.h"

#include <memory>
#include <string>

/// The two directories of a server, checked before anything in them is touched, and the claim on the output directory:
/// one server at a time, for its start deletes the files of another.
class CServerDirectories {
public:
    CServerDirectories();
    ~CServerDirectories();
    CServerDirectories(const CServerDirectories&) = delete;
    CServerDirectories& operator=(const CServerDirectories&) = delete;

    /// Creates what is missing when the options say so, refuses what must not be served, and claims the output
    /// directory for the life of this object. False with the reason; the directories are then as they were, but for
    /// created ones.
    [[nodiscard]] bool Prepare(const SServerOptions& options, std::wstring& error);

    /// Whether the start of a server deletes the files of this folder.
    [[nodiscard]] static bool IsCleared(const std::wstring& outputDir, const std::wstring& folder);

    /// The folder of an output directory that belongs to the program and outlives its starts.
    [[nodiscard]] static std::wstring OwnFolder(const std::wstring& outputDir);

    /// Does once, without a trace, what the server will do in the request directory. False with the reason.
    [[nodiscard]] static bool Try(const std::wstring& requestDir, std::wstring& error);

    /// Whether files in the output directory can be for two users alone. False with the reason.
    [[nodiscard]] static bool TryPrivate(const std::wstring& outputDir, std::wstring& error);

    /// Makes one change of a file name in the request directory, which makes the server look at what lies there. False
    /// with the reason.
    [[nodiscard]] static bool Touch(const std::wstring& requestDir, std::wstring& error);

private:
    [[nodiscard]] static bool CheckApart(const SServerOptions& options, std::wstring& error);
    [[nodiscard]] static bool CheckOwn(const std::wstring& outputDir, std::wstring& error);
    [[nodiscard]] static bool CheckNothingForeign(const std::wstring& outputDir, std::wstring& error);
    [[nodiscard]] bool Claim(const std::wstring& outputDir, std::wstring& error);

    std::unique_ptr<platform::ILockFile> m_pClaim;
    std::wstring m_strProcessFile;
};
