#include "ServerSettings.h"
#include "TurnList.h"
#include "platform/NameKind.h"
#include "platform/Os.h"
#include "platform/Seconds.h"
#include "platform/Trust.h"
#include "protocol/RequestAttributes.h"

#include <algorithm>
#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::seconds kBriefPatience{1};
/// A stranger who sends one request after the other and holds its status costs this each time.
constexpr std::chrono::milliseconds kLeastPatienceWithReaders{20};

} // namespace

std::string CServerSettings::OwnerOf(const CString& path) const
{
    platform::FileOwner owner;
    const bool isAsked = m_options.takeTurns || m_options.fair || m_options.maxQueued != 0 ||
                         m_options.maxClients != 0 || m_options.privateFiles;
    if (isAsked && !platform::Succeeded(platform::Files().GetOwner(path, owner)))
        owner.clear();
    return owner;
}

bool CServerSettings::IsOperators(const CString& path) const
{
    // Where nobody else can put a file. Elsewhere this account is no proof: the responses that the server makes are its
    // files, and whoever may take one can hand it over as a command.
    if (platform::DistrustOf(m_paths.m_strRequestDir).empty())
        return true;
    platform::FileOwner owner;
    const platform::eOsError error = platform::Files().GetOwner(path, owner);
    if (!platform::Succeeded(error)) // who keeps us from asking does not become nobody by that
        return error == platform::eOsError_NotSupported;
    return owner.empty() || platform::IsAdministrator(owner);
}

TSRequestItem CServerSettings::ItemOf(const CString& queuedPath) const
{
    TSRequestItem item{queuedPath, 0, OwnerOf(queuedPath)};
    item.m_received = platform::Clock().Steady();
    item.m_timeLimit = std::clamp<std::chrono::milliseconds>(m_options.timeLimit, 0ms, kMostSeconds);
    // Whoever may be waited for behind a link, the listener's thread is not to.
    const auto isLink = [&] { return platform::NameKind(queuedPath) == platform::eNameKind_Link; };
    if (m_options.requestAttributes && !(m_options.followLinks && isLink())) {
        SRequestAttributes attributes = SRequestAttributes::Read(queuedPath);
        item.m_nPriority = attributes.priority;
        item.m_strClient = std::move(attributes.client);
        item.m_nNotBefore = attributes.notBefore;
        item.m_nMaxRuns = static_cast<std::uint8_t>(attributes.attempts);
        if (const auto own = attributes.timeLimit; own.count() != 0)
            item.m_timeLimit = item.m_timeLimit.count() == 0 ? own : std::min(item.m_timeLimit, own);
    }
    return item;
}

std::string CServerSettings::PrivateFor(const std::string& owner) const
{
    if (!m_options.privateFiles)
        return {};
    return owner.empty() ? OwnerOf(m_paths.m_strQueueDir) : owner;
}

std::size_t CServerSettings::Slots() const
{
    return std::clamp(m_options.slots, 1U, SZelServerOptions::kMostSlots);
}

unsigned CServerSettings::MoveFlags() const
{
    return Protocol::MoveFlags(m_options.syncing, false);
}

bool CServerSettings::MarksRuns() const
{
    return m_options.resume && m_options.syncing && m_options.interrupted == eInterrupted_Fail;
}

std::chrono::milliseconds CServerSettings::PatienceWithReaders() const
{
    return m_options.patience ? std::max(*m_options.patience, kLeastPatienceWithReaders) : std::chrono::milliseconds(0);
}

std::function<bool()> CServerSettings::BriefPatience() const
{
    const std::chrono::nanoseconds patience = m_options.patience ? PatienceWithReaders() : kBriefPatience;
    const std::chrono::nanoseconds end = platform::Clock().Steady() + patience;
    return [end] { return platform::Clock().Steady() < end; };
}
