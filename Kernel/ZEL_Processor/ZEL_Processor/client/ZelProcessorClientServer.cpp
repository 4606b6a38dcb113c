#include "ClientState.h"
#include "platform/Os.h"
#include "platform/ReliableWatch.h"
#include "protocol/ServerInfoFile.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace {

constexpr std::size_t kMaxProcessDigits = 20;

/// 0 for none.
std::uint32_t ReadProcess(const CString& path)
{
    std::string text;
    std::uint32_t process = 0;
    if (platform::Succeeded(platform::ReadWholeFile(path, platform::eOpenMode_ReadShared, text, kMaxProcessDigits)))
        static_cast<void>(std::from_chars(text.data(), text.data() + text.size(), process));
    return process;
}

std::int64_t SecondsOfChange(const CString& path)
{
    platform::SFileAttributes attributes;
    return platform::Succeeded(platform::Files().GetAttributes(path, attributes))
               ? attributes.times.modified / 1'000'000'000
               : 0;
}

constexpr int kLooks = 3;
constexpr std::chrono::milliseconds kLookPause{2};

} // namespace

eZelServerPresence CClientState::LookForServer() const
{
    // A dead server's lock is ours for the moment of this look: a server that starts tries again, and so do others who
    // look just then, or they would take us for one.
    platform::eOsError held = platform::eOsError_SharingViolation;
    for (int look = 0; look < kLooks && held == platform::eOsError_SharingViolation; ++look) {
        if (look > 0)
            platform::Clock().SleepFor(kLookPause);
        std::unique_ptr<platform::IFile> lock;
        held =
            platform::Files().Open(m_paths.InOwnFolder(Protocol::kClaimFile), platform::eOpenMode_ReadExclusive, lock);
    }
    if (held == platform::eOsError_SharingViolation)
        return eServerPresence_Serves;
    if (platform::Succeeded(held))
        return platform::IsChangedFromOutside(m_paths.m_strOutputDir) ? eServerPresence_Unknown : eServerPresence_None;
    if (!platform::IsAbsent(held))
        return eServerPresence_Unknown;
    // Without a claim: whoever made the queue may be a server that makes none.
    return platform::PathExists(m_paths.InOwnFolder(Protocol::kServerInfoFile)) ||
                   !platform::DirectoryExists(m_paths.m_strQueueDir)
               ? eServerPresence_None
               : eServerPresence_Unknown;
}

SZelServerInfo CClientState::GetServerInfo() const
{
    const CString infoFile = m_paths.InOwnFolder(Protocol::kServerInfoFile);
    const CString processFile = m_paths.InOwnFolder(Protocol::kClaimProcessFile);
    const eZelServerPresence presence = LookForServer();
    const std::uint32_t process = ReadProcess(processFile);
    SZelServerInfo info;
    if (!ServerInfoFile::Read(infoFile, info))
        info = {};
    // One that serves and published nothing leaves what an earlier one did.
    if (presence != eServerPresence_None && (info.ended != 0 || (process != 0 && process != info.process))) {
        info = {};
        info.process = process;
    }
    info.presence = presence;
    // It says nothing of a server that does not look at it.
    info.isHeld = !info.commands.empty() && platform::PathExists(m_paths.InOwnFolder(Protocol::kHeldFile));
    info.hasStopped = info.ended != 0;
    if (presence == eServerPresence_Serves &&
        info.started != 0) // one that tells nothing of itself shows no life either
        info.seen = SecondsOfChange(processFile);
    if (presence == eServerPresence_None && !info.hasStopped) {
        for (const CString& path : {infoFile, processFile, m_paths.InOwnFolder(Protocol::kClaimFile)})
            info.ended = std::max(info.ended, SecondsOfChange(path));
    }
    return info;
}
