#include "apps/zel/RunningOrder.h"

#include <algorithm>
#include <functional>
#include <map>
#include <tuple>
#include <utility>

void SortByArrival(std::vector<SWaitingRequest>& requests)
{
    std::ranges::sort(requests, {},
                      [](const SWaitingRequest& request) { return std::tie(request.arrival, request.name); });
}

void SortByTurns(std::vector<SWaitingRequest>& requests)
{
    SortByArrival(requests);
    std::map<platform::FileOwner, std::size_t> turnOf; // in the order of the users' first requests
    for (const SWaitingRequest& request : requests)
        turnOf.try_emplace(request.owner, turnOf.size());
    std::ranges::stable_sort(requests, std::greater<>(), &SWaitingRequest::priority);
    // A round has the next request of each user.
    std::map<platform::FileOwner, std::size_t> roundOf;
    std::vector<std::tuple<std::size_t, std::size_t, std::size_t>> order;
    for (std::size_t index = 0; index < requests.size(); ++index)
        order.emplace_back(roundOf[requests[index].owner]++, turnOf[requests[index].owner], index);
    std::ranges::sort(order);
    std::vector<SWaitingRequest> sorted;
    for (const auto& [round, turn, index] : order)
        sorted.push_back(std::move(requests[index]));
    requests = std::move(sorted);
}
