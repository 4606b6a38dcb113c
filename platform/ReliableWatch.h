#pragma once

#include "platform/Export.h"
#include "platform/FileSystem.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// Watching where the system does not tell all: a notification that got lost, a file system that other machines change,
/// one that tells nothing at all.
namespace platform {

/// True where others than this machine's kernel may change a directory, so that it cannot tell: network file systems
/// and those of programs (FUSE), by what the system calls them. False where the system does not say.
[[nodiscard]] ZEL_FRAMEWORK_API bool IsChangedFromOutside(const std::wstring& directory);

/// The file system of a directory as the system calls it: "ext4", "nfs4", "NTFS". Empty when it does not tell.
[[nodiscard]] ZEL_FRAMEWORK_API std::wstring FileSystemName(const std::wstring& directory);

struct SWatchOptions {
    /// Does not rely on the system's word alone: where others may change the directory, it is listed as well; elsewhere
    /// its time is compared once a second, so that a name that came or went untold costs that second. What only changes
    /// contents is not met by that. Off: as IFileSystem::Watch.
    bool isChecked = false;
    /// List the directory whatever the file system is, and this long after each change. 0: 50 ms, where it is needed.
    std::chrono::milliseconds poll{0};
};

/// A watch that asks the directory itself between what the system tells. While something happens it asks quickly, then
/// ever less often, once a second in the end, and never for more than a twentieth of the time. Its first look finds a
/// change, for who knows what happened before, and what was told is found once more, as a change of its own; with the
/// filter for names that are gone, so are those that came. What it keeps of a directory is a sum of hashes: two states
/// look alike by chance, once in 2^64.
class ZEL_FRAMEWORK_API CPollingWatch final : public IDirectoryWatch {
public:
    enum eProbe {
        eProbe_Time,   ///< the directory's time of change: one call
        eProbe_Listing ///< all names; with a filter for contents, their times and lengths
    };
    CPollingWatch(std::unique_ptr<IDirectoryWatch> told, std::wstring directory, eWatchFilter filter, eProbe probe,
                  std::chrono::milliseconds shortest);

    eWaitResult Wait(std::chrono::milliseconds timeout) override;
    eOsError Rearm() override;
    eOsError RearmNaming(std::vector<std::wstring>& names) override;
    void Wake() override;

private:
    [[nodiscard]] eOsError Probe(std::uint64_t& state) const;
    void Look();
    void LookSoon();
    void TakeChange();

    const std::unique_ptr<IDirectoryWatch> m_pTold;
    const std::wstring m_strDirectory;
    const eWatchFilter m_filter;
    const eProbe m_probe;
    const std::chrono::nanoseconds m_shortest;
    std::chrono::nanoseconds m_interval;
    std::chrono::nanoseconds m_nextLook{};
    std::chrono::nanoseconds m_earliestLook{}; ///< or looks would take more than their share
    std::optional<std::uint64_t> m_state;      ///< of the last look
    bool m_hasChanged = false;                 ///< and was not taken by Rearm
};

/// As IFileSystem::Watch, with what the options ask for.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError WatchReliably(const std::wstring& directory, eWatchFilter filter,
                                                       const SWatchOptions& options,
                                                       std::unique_ptr<IDirectoryWatch>& watch);

/// The same for who watches long enough to find out first whether the system tells anything: where that is checked and
/// nothing else has the directory listed, a file is made there and removed. When no news of it comes for a second, the
/// directory is listed, and isDeaf says so; when it comes, it is the first change of the watch.
[[nodiscard]] ZEL_FRAMEWORK_API eOsError WatchProven(const std::wstring& directory, eWatchFilter filter,
                                                     const SWatchOptions& options,
                                                     std::unique_ptr<IDirectoryWatch>& watch, bool& isDeaf);

} // namespace platform
