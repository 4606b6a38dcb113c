#include "ServerState.h"
#include "com/Guid.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>
#include <vector>

bool CServerState::GetFigures(SZelServerFigures& figures) const
{
    if (!m_settings.m_pFigures || figures.changes == m_figures.Changes())
        return false;
    m_figures.Fill(figures); // first: what changes from here on is told once more
    figures.slots = m_settings.Slots();
    const SQueueView queue = m_requests.View(SZelServerFigures::kMostListed);
    figures.waitingCount = queue.waiting;
    figures.pausedCount = queue.paused;
    figures.isHeld = queue.isHeld;
    const auto shown = [](const TSRequestItem& item) {
        return SZelWaitingFigures{.name = CServerFigures::Cut(platform::FileNameOf(item.m_strFile)),
                                  .client = CServerFigures::Cut(platform::FromUtf8(item.m_strClient)),
                                  .priority = item.m_nPriority,
                                  .since = item.m_received};
    };
    std::ranges::transform(queue.firstWaiting, std::back_inserter(figures.firstWaiting), shown);
    std::ranges::transform(queue.firstPaused, std::back_inserter(figures.paused), shown);
    std::vector<std::pair<GUID, std::chrono::nanoseconds>> clients;
    figures.clientCount = m_registry.First(SZelServerFigures::kMostListed, clients);
    for (const auto& [client, since] : clients)
        figures.clients.push_back({GuidToText(client), since});
    return true;
}
