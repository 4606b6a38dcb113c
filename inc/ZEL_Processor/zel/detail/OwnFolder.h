#pragma once

#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/zel/Result.h"
#include "ZEL_Processor/zel/detail/Text.h"
#include "com/ComError.h"
#include "platform/FolderRemoval.h"
#include "platform/Os.h"
#include "platform/ReliableWatch.h"
#include "platform/Trust.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

/// No part of what zel promises.
namespace zel::detail {

/// A name that nobody else has, but for a system that has no ids to give: then it is empty.
[[nodiscard]] inline std::wstring uniqueName()
{
    try {
        return CZelProcessorClient::GetUniqueString();
    } catch (const CComError&) {
        return {};
    }
}

inline constexpr std::wstring_view kFolderPrefix = L".zel-";
/// Open in a client's folder for as long as the client lives, so that nobody else can open it alone. Its content names
/// the start of the system that the client lives in.
inline constexpr const wchar_t* kOwnerFile = L".zel-owner";
/// A client's files on their way are a few at a time.
inline constexpr std::size_t kMaxFolderNames = 10'000;

/// Whether a folder's client lived in this start of the system and does so no more. That of another machine may have
/// its folder here as well, and its hold on a file need not be seen; nor is it known which machine an earlier start was
/// of.
[[nodiscard]] inline bool isDead(const std::wstring& folder, const std::string& startId)
{
    const std::wstring path = platform::JoinPath(folder, kOwnerFile);
    std::string content;
    return platform::IsFileOfThisUser(path) &&
           platform::Succeeded(
               platform::ReadWholeFile(path, platform::eOpenMode_ReadExclusive, content, startId.size())) &&
           content == startId;
}

/// Removes what killed clients of this user left beside his own folder. One without the owner's file is not a client's,
/// or is just being made.
inline void removeDeadFolders(const std::wstring& parent, const std::wstring& own)
{
    constexpr std::size_t kMaxLooks = 10'000;
    constexpr std::size_t kMaxFolders = 100;
    const std::string startId = platform::Clock().SystemStartId();
    platform::FileOwner user;
    if (startId.empty() || platform::IsChangedFromOutside(parent) ||
        !platform::Succeeded(platform::Files().GetOwner(own, user)))
        return;
    std::size_t looks = 0;
    std::vector<std::wstring> folders;
    static_cast<void>(platform::Files().Visit(parent, [&](const platform::SDirectoryEntry& entry) {
        const std::wstring path = platform::JoinPath(parent, entry.name);
        if (entry.isDirectory && entry.name.starts_with(kFolderPrefix) && path != own)
            folders.push_back(path);
        return ++looks < kMaxLooks;
    }));
    std::size_t removed = 0;
    for (const std::wstring& folder : folders) {
        platform::FileOwner owner;
        if (removed < kMaxFolders && platform::Succeeded(platform::Files().GetOwner(folder, owner)) && owner == user &&
            isDead(folder, startId)) {
            static_cast<void>(platform::RemoveFolder(folder, kMaxFolderNames));
            ++removed;
        }
    }
}

/// A folder for files on their way, of a name that nobody else has: such files have their final names already. Servers
/// look into no folder, so it may lie in the request directory. Made when it is needed; goes at the end, with what is
/// left in it. Safe from any thread.
class OwnFolder {
public:
    explicit OwnFolder(const std::wstring& parent)
        : m_parent(parent), m_path(platform::JoinPath(parent, std::wstring(kFolderPrefix) + uniqueName()))
    {}
    ~OwnFolder()
    {
        m_owner.reset();
        if (m_isMade)
            static_cast<void>(platform::RemoveFolder(m_path, kMaxFolderNames));
    }
    OwnFolder(const OwnFolder&) = delete;
    OwnFolder& operator=(const OwnFolder&) = delete;

    [[nodiscard]] const std::wstring& path() const { return m_path; }
    Result<void> make()
    {
        const std::lock_guard lock(m_mutex);
        if (m_isMade)
            return {};
        if (m_parent.empty()) // or it would be the root of everything
            return Error{Code::fileError, "no directory for requests was given"};
        std::error_code error;
        if (!std::filesystem::create_directory(pathOf(m_path), error))
            return Error{error ? Code::fileError : Code::systemError,
                         said("cannot make the folder", pathOf(m_path), error)};
        m_isMade = true;
        return {};
    }
    /// The same for a folder that lasts: others can tell for how long it has an owner. Takes those away that have none.
    Result<void> makeOwned()
    {
        if (Result<void> made = make(); !made)
            return made;
        std::unique_lock lock(m_mutex);
        if (m_isOwned)
            return {};
        const std::wstring path = platform::JoinPath(m_path, kOwnerFile);
        const platform::eOsError owned = platform::Files().Open(path, platform::eOpenMode_WriteExclusive, m_owner);
        // Elsewhere than where the system makes a file that is locked from its first moment on, somebody may be faster
        // and take it for that of a dead client. A folder that can have no such file is not taken away by anybody.
        if (owned == platform::eOsError_SharingViolation || platform::IsAbsent(owned))
            return fileError("cannot make the file", path, owned);
        m_isOwned = true;
        const std::string startId = platform::Clock().SystemStartId();
        if (m_owner)
            static_cast<void>(m_owner->Write(std::as_bytes(std::span(startId))));
        lock.unlock();
        removeDeadFolders(m_parent, m_path);
        return {};
    }

private:
    const std::wstring m_parent;
    const std::wstring m_path;
    std::mutex m_mutex;
    bool m_isMade = false;
    bool m_isOwned = false;
    std::unique_ptr<platform::IFile> m_owner;
};

} // namespace zel::detail
