#pragma once

#include "ZEL_Processor/zel/detail/Core.h"
#include "platform/Os.h"
#include "platform/PrivateFiles.h"

#include <filesystem>
#include <memory>
#include <span>
#include <system_error>
#include <vector>

/// Files that go to another volume. No part of what zel promises.
namespace zel::detail {

/// Opens a file for reading so that nobody else moves or removes it. Waits for those who have it, until the client is
/// stopped or they took as long as a command may.
[[nodiscard]] inline platform::eOsError openAlone(const Core& core, const std::wstring& path,
                                                  std::unique_ptr<platform::IFile>& file)
{
    constexpr std::chrono::milliseconds kLook{5};
    const Deadline deadline(core.place.options.commandTimeout);
    for (;;) {
        const platform::eOsError result = platform::Files().Open(path, platform::eOpenMode_ReadExclusive, file);
        if (result != platform::eOsError_SharingViolation || core.isStopped() || deadline.isOver())
            return result;
        platform::Clock().SleepFor(kLook);
    }
}

/// All that is left of a file. A stop ends it with a file that is not whole.
[[nodiscard]] inline platform::eOsError copyContent(const Core& core, platform::IFile& from, platform::IFile& to)
{
    constexpr std::size_t kPiece = 65536;
    std::vector<std::byte> buffer(kPiece);
    for (std::size_t read = 1; read != 0 && !core.isStopped();) {
        platform::eOsError result = from.Read(buffer, read);
        if (platform::Succeeded(result))
            result = to.Write(std::span(buffer).first(read));
        if (!platform::Succeeded(result))
            return result;
    }
    return core.place.options.syncing ? to.Sync() : platform::eOsError_None;
}

/// Who alone may use a copy: nobody in particular, so that it is as any new file, or this process's user when others
/// may not read what is copied. Where files have no such modes (Windows) the access list of its folder decides.
/// The path is free, and so it is afterwards: only a file tells whose files this process makes.
[[nodiscard]] inline platform::eOsError userOfCopy(const std::wstring& from, const std::wstring& path,
                                                   platform::FileOwner& user)
{
    using std::filesystem::perms;
    std::error_code error;
    const perms mode = std::filesystem::status(pathOf(from), error).permissions();
    if (!error && (mode & perms::others_read) != perms::none)
        return platform::eOsError_None;
    std::unique_ptr<platform::IFile> file;
    platform::eOsError result = platform::Files().Open(path, platform::eOpenMode_CreateExclusive, file);
    if (!platform::Succeeded(result))
        return result;
    file.reset();
    result = platform::Files().GetOwner(path, user);
    static_cast<void>(platform::Files().Remove(path));
    return result;
}

/// The same to a new file, which is for the user alone when there is one.
[[nodiscard]] inline platform::eOsError copyToNew(const Core& core, platform::IFile& from, const std::wstring& path,
                                                  const platform::FileOwner& user)
{
    const platform::CPrivateFiles files(user);
    std::unique_ptr<platform::IFile> file;
    if (const platform::eOsError made = platform::Files().Open(path, platform::eOpenMode_CreateExclusive, file);
        !platform::Succeeded(made))
        return made;
    const platform::eOsError copied = copyContent(core, from, *file);
    const platform::eOsError closed = file->Close();
    return platform::Succeeded(copied) ? closed : copied;
}

/// Replaces the target. One that somebody has open just now is tried again for a second.
[[nodiscard]] inline platform::eOsError moveOver(const Core& core, const std::wstring& from, const std::wstring& target)
{
    constexpr std::chrono::milliseconds kLook{5};
    const unsigned through = core.place.options.syncing ? platform::eMoveFlag_WriteThrough : platform::eMoveFlag_None;
    const Deadline deadline(std::chrono::seconds(1));
    for (;;) {
        const platform::eOsError result =
            platform::Files().Move(from, target, platform::eMoveFlag_ReplaceExisting | through);
        const bool isBusy = result == platform::eOsError_AccessDenied || result == platform::eOsError_SharingViolation;
        if (!isBusy || core.isStopped() || deadline.isOver())
            return result;
        platform::Clock().SleepFor(kLook);
    }
}

/// Beside the target first, so that it appears there whole.
[[nodiscard]] inline Result<void> copyAcross(const Core& core, const std::wstring& from, const std::wstring& target)
{
    std::unique_ptr<platform::IFile> source;
    if (const platform::eOsError opened = openAlone(core, from, source); !platform::Succeeded(opened))
        return core.isStopped() ? Core::stopped() : fileError("cannot read", from, opened);
    const std::wstring partial = platform::JoinPath(platform::DirectoryOf(target), L".zel-" + uniqueName() + L".tmp");
    platform::FileOwner user;
    platform::eOsError result = userOfCopy(from, partial, user);
    if (platform::Succeeded(result))
        result = copyToNew(core, *source, partial, user);
    const bool isWhole = platform::Succeeded(result) && !core.isStopped();
    if (isWhole)
        result = moveOver(core, partial, target);
    if (isWhole && platform::HasMoved(result))
        return {};
    static_cast<void>(platform::Files().Remove(partial));
    return core.isStopped() ? Core::stopped() : fileError("cannot write", target, result);
}

} // namespace zel::detail
