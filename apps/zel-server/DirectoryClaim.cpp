#include "apps/zel-server/DirectoryClaim.h"

#include "ZEL_Processor/ZelProtocolNames.h"
#include "apps/common/DirectoryTrial.h"
#include "platform/Installation.h"
#include "platform/Os.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <algorithm>
#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr std::size_t kMaxProcessText = 64;
/// Whoever looks whether a server is alive has the lock of a dead one for microseconds, and one that ends may remove
/// the folder after it was made.
constexpr int kClaimTries = 20;
constexpr auto kClaimPause = 10ms;

/// A file beside the lock, because a held lock file can't be read everywhere.
std::wstring ProcessFileIn(const std::wstring& folder)
{
    return platform::JoinPath(folder, ZelProtocol::kClaimProcessFile);
}

/// Empty for what is no such file.
std::wstring ReadProcess(const std::wstring& path)
{
    std::string text;
    if (!platform::Succeeded(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, text, kMaxProcessText)))
        return {};
    const bool isNumber = std::ranges::all_of(text, [](char digit) { return digit >= '0' && digit <= '9'; });
    return isNumber ? platform::FromUtf8(text) : std::wstring();
}

} // namespace

CDirectoryClaim::~CDirectoryClaim()
{
    End();
}

std::wstring CDirectoryClaim::OwnFolder(const std::wstring& directory)
{
    return platform::JoinPath(directory, ZelProtocol::kServerDirectory);
}

platform::eOsError CDirectoryClaim::Take(const std::wstring& directory)
{
    End();
    m_strFolder = OwnFolder(directory);
    platform::eOsError result = TakeOnce();
    const auto mayPass = [&result] {
        return result == platform::eOsError_SharingViolation || platform::IsAbsent(result);
    };
    for (int tries = 1; mayPass() && tries < kClaimTries; ++tries) {
        platform::Clock().SleepFor(kClaimPause);
        result = TakeOnce();
    }
    ShowAlive();
    return result;
}

platform::eOsError CDirectoryClaim::Ask(const std::wstring& directory)
{
    const std::wstring folder = OwnFolder(directory);
    if (const platform::eOsError own = platform::CheckOwnDirectory(folder); !platform::Succeeded(own))
        return platform::IsAbsent(own) ? TryFolder(directory) : own;
    platform::eOsError result = platform::eOsError_SharingViolation;
    for (int tries = 0; result == platform::eOsError_SharingViolation && tries < kClaimTries; ++tries) {
        if (tries > 0)
            platform::Clock().SleepFor(kClaimPause);
        std::unique_ptr<platform::IFile> lock; // for reading, which leaves the time at which its server died
        result = platform::Files().Open(platform::JoinPath(folder, ZelProtocol::kClaimFile),
                                        platform::eOpenMode_ReadExclusive, lock);
    }
    return platform::Succeeded(result) || platform::IsAbsent(result) ? TryFiles(folder) : result;
}

platform::eOsError CDirectoryClaim::TakeOnce()
{
    platform::eOsError result = platform::MakeDirectories(m_strFolder);
    if (platform::Succeeded(result))
        result = platform::CheckOwnDirectory(m_strFolder); // somebody may have been faster
    if (!platform::Succeeded(result))
        return result;
    static_cast<void>(platform::KeepOthersFromWriting(m_strFolder)); // fails for an administrator's, who knows
    return platform::Files().OpenLockFile(platform::JoinPath(m_strFolder, ZelProtocol::kClaimFile),
                                          std::to_string(platform::CurrentProcessId()), m_pLock);
}

void CDirectoryClaim::End()
{
    if (!m_pLock)
        return;
    // Before the claim ends, or it could be the next server's. Senders may put a folder or a link in the place of ours.
    if (platform::Succeeded(platform::CheckOwnDirectory(m_strFolder)))
        static_cast<void>(platform::Files().Remove(ProcessFileIn(m_strFolder)));
    m_pLock.reset();
    // Where nothing else is kept nothing stays.
    static_cast<void>(platform::Files().RemoveEmptyDirectory(m_strFolder));
}

bool CDirectoryClaim::IsThere() const
{
    const platform::eOsError folder = platform::CheckOwnDirectory(m_strFolder);
    const bool isAnothers = folder == platform::eOsError_ForeignOwner || folder == platform::eOsError_LinkInTheWay ||
                            folder == platform::eOsError_NotADirectory;
    platform::SFileAttributes attributes;
    return m_pLock && !isAnothers &&
           !platform::IsAbsent(
               platform::Files().GetAttributes(platform::JoinPath(m_strFolder, ZelProtocol::kClaimFile), attributes));
}

void CDirectoryClaim::ShowAlive() const
{
    // For people and clients only: the claim stands without it.
    if (m_pLock)
        static_cast<void>(
            platform::WriteWholeFile(ProcessFileIn(m_strFolder), std::to_string(platform::CurrentProcessId())));
}

std::wstring CDirectoryClaim::HolderOf(const std::wstring& directory)
{
    return ReadProcess(ProcessFileIn(OwnFolder(directory)));
}

bool CDirectoryClaim::IsHolderDraining(const std::wstring& directory)
{
    const std::wstring draining = ReadProcess(platform::JoinPath(OwnFolder(directory), ZelProtocol::kDrainingFile));
    const std::wstring holder = HolderOf(directory);
    // One that ends takes its number away before it lets go, of one directory after the other.
    return !draining.empty() &&
           (holder.empty() || holder == draining || holder == std::to_wstring(platform::CurrentProcessId()));
}
