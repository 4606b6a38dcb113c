#pragma once

#include "platform/FileSystem.h"

#include <memory>
#include <string>

/// What says that one of a server's directories is taken: a lock file in a folder of the server's own there, held for
/// the life of this object. The system frees it when the process dies, however it does. Being inside, it is found by
/// every path that leads to the directory.
class CDirectoryClaim {
public:
    CDirectoryClaim() = default;
    /// Ends the claim.
    ~CDirectoryClaim();
    CDirectoryClaim(const CDirectoryClaim&) = delete;
    CDirectoryClaim& operator=(const CDirectoryClaim&) = delete;

    /// The folder of a directory that belongs to the program and outlives its starts.
    [[nodiscard]] static std::wstring OwnFolder(const std::wstring& directory);

    /// SharingViolation: another server has it. Ends the claim that was there.
    [[nodiscard]] platform::eOsError Take(const std::wstring& directory);
    /// What Take would say, as far as that can be told without taking: another server that starts just then is not
    /// refused, and nothing stays of it.
    [[nodiscard]] static platform::eOsError Ask(const std::wstring& directory);
    void End();
    [[nodiscard]] bool IsHeld() const { return m_pLock != nullptr; }
    /// Whether it is held, and its file still lies in the directory, as far as can be told.
    [[nodiscard]] bool IsThere() const;
    /// Writes the time at which this process was seen alive last, for those who look when it is dead.
    void ShowAlive() const;
    /// The number of the process that holds the claim on a directory; empty when it left none.
    [[nodiscard]] static std::wstring HolderOf(const std::wstring& directory);
    /// Whether that process, or the one that held it until a moment ago, drains: it will let go by itself.
    [[nodiscard]] static bool IsHolderDraining(const std::wstring& directory);

private:
    [[nodiscard]] platform::eOsError TakeOnce();

    std::unique_ptr<platform::ILockFile> m_pLock;
    std::wstring m_strFolder;
};
