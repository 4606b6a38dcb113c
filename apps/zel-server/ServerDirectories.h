#pragma once

#include "apps/zel-server/DirectoryClaim.h"
#include "apps/zel-server/ServerOptions.h"

#include <functional>
#include <string>

enum eDirectoriesState {
    eDirectoriesState_Fine,
    eDirectoriesState_Remade, ///< something was removed, and is there again
    eDirectoriesState_Lost    ///< something was removed and cannot be made again
};

/// The two directories of a server, checked before anything in them is touched, and the claims on them: one server at a
/// time in an output directory, for its start deletes the files of another, and, unless they are to share it, in a
/// request directory, for whoever is faster would take what was sent to the other.
class CServerDirectories {
public:
    CServerDirectories() = default;
    CServerDirectories(const CServerDirectories&) = delete;
    CServerDirectories& operator=(const CServerDirectories&) = delete;

    /// Creates what is missing when the options say so, refuses what must not be served, and claims the directories for
    /// the life of this object. False with the reason; the directories are then as they were, but for
    /// created ones. mayWait: asked again and again while another server has a claim; false ends the waiting.
    [[nodiscard]] bool Prepare(
        const SServerOptions& options, std::wstring& error,
        const std::function<bool()>& mayWait = [] { return false; });

    /// After Prepare: removes what was left there of trials, which a start that takes over what it finds would keep.
    void Tidy() const;

    /// What Prepare and Try would say, without creating or claiming anything.
    [[nodiscard]] static bool Check(const SServerOptions& options, std::wstring& error);
    /// Whether there is a server for whose end a start would wait.
    [[nodiscard]] static bool WaitsForOther(const SServerOptions& options);

    /// For a server that runs: whether output directory, queue and claims are still there. What is not is made again,
    /// but for what it lay in; the text says what it was, or why it can't be.
    [[nodiscard]] eDirectoriesState Look(std::wstring& text);
    /// Lets those who find this process dead see when it was alive last.
    void ShowAlive() const { m_outputClaim.ShowAlive(); }

    /// Whether the start of a server deletes the files of this folder.
    [[nodiscard]] static bool IsCleared(const std::wstring& outputDir, const std::wstring& folder);

    /// The folder of an output directory that belongs to the program and outlives its starts.
    [[nodiscard]] static std::wstring OwnFolder(const std::wstring& outputDir);

    /// Does once, without a trace, what the server will do in the directories that are there. False with the reason.
    [[nodiscard]] static bool Try(const SServerOptions& options, std::wstring& error);

    /// Makes one change of a file name in the request directory, which makes the server look at what lies there. False
    /// with the reason.
    [[nodiscard]] static bool Touch(const std::wstring& requestDir, std::wstring& error);

private:
    [[nodiscard]] static bool CheckApart(const SServerOptions& options, std::wstring& error);
    [[nodiscard]] static bool CheckOwn(const std::wstring& outputDir, std::wstring& error);
    [[nodiscard]] static bool CheckNothingForeign(const std::wstring& outputDir, std::wstring& error);
    [[nodiscard]] static bool CheckClaims(const SServerOptions& options, std::wstring& error);
    [[nodiscard]] static bool TryRequestDir(const std::wstring& requestDir, std::wstring& error);

    [[nodiscard]] bool RemakeClaims(std::wstring& error);

    std::wstring m_strRequestDir; ///< since Prepare
    std::wstring m_strOutputDir;
    CDirectoryClaim m_outputClaim;
    CDirectoryClaim m_requestClaim;
};
