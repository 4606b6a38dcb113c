#include "TurnList.h"
#include "PackedText.h"

#include <algorithm>
#include <iterator>

namespace {

/// The place in a list that this key has, at its end when it is new, or at the front.
template <class List, class Places>
typename List::iterator PlaceOf(List& list, Places& places, const std::string& key, bool isFront)
{
    auto found = places.find(key);
    if (found == places.end())
        found = places.emplace(key, list.insert(list.end(), {key, {}})).first;
    if (isFront)
        list.splice(list.begin(), list, found->second);
    return found->second;
}

} // namespace

bool CTurnList::SByPath::operator()(const SPlace& left, const SPlace& right) const
{
    const int order = left.item->path.compare(right.item->path);
    return order < 0 || (order == 0 && std::less<>()(&*left.item, &*right.item));
}

void CTurnList::Append(TSRequestItem item)
{
    const int priority = item.m_nPriority;
    Insert(std::move(item), priority);
}

void CTurnList::PutBack(TSRequestItem item)
{
    int priority = item.m_nPriority;
    if (const auto turn = m_turnOf.find(TurnOf(item)); turn != m_turnOf.end())
        priority = std::min(priority, turn->second->priorities.rbegin()->first);
    Insert(std::move(item), priority);
}

const std::string& CTurnList::TurnOf(const TSRequestItem& item) const
{
    static const std::string nobody;
    return m_takesTurns ? item.m_strOwner : nobody;
}

void CTurnList::Insert(TSRequestItem item, int priority)
{
    const bool isNext = priority == kNext;
    const Turns::iterator turn = PlaceOf(m_turns, m_turnOf, TurnOf(item), isNext);
    const ByPriority::iterator equals = turn->priorities.try_emplace(priority).first;
    const std::string& name = item.m_strClient.empty() ? item.m_strOwner : item.m_strClient;
    const Clients::iterator client =
        PlaceOf(equals->second.clients, equals->second.clientOf, m_isFair ? name : std::string(), isNext);
    const auto count = m_counts.try_emplace(item.m_strOwner).first;
    ++count->second;
    const Items::iterator place =
        client->items.insert(isNext ? client->items.begin() : client->items.end(),
                             {PackedText::Pack(item.m_strFile), item.m_nRetries, item.m_nAttempts, item.m_nPriority,
                              item.m_bTold, item.m_bTakenBack, item.m_nMaxRuns, item.m_nFailedRuns, &count->first,
                              item.m_timeLimit, item.m_pause, item.m_received});
    m_places.insert({turn, equals, client, place});
}

bool CTurnList::TakeNext(TSRequestItem& item)
{
    if (IsEmpty())
        return false;
    const Turns::iterator turn = m_turns.begin();
    m_turns.splice(m_turns.end(), m_turns, turn);
    const ByPriority::iterator equals = turn->priorities.begin();
    Clients& clients = equals->second.clients;
    const Clients::iterator client = clients.begin();
    clients.splice(clients.end(), clients, client);
    item = Remove({turn, equals, client, client->items.begin()});
    return true;
}

bool CTurnList::Take(const CString& path, TSRequestItem& item)
{
    const Places::const_iterator found = Find(path);
    if (found == m_places.end())
        return false;
    item = Remove(*found);
    return true;
}

CTurnList::eMoved CTurnList::Move(const CString& path, eRequestPlace place, const CString& otherPath)
{
    const Places::const_iterator found = Find(path);
    if (found == m_places.end())
        return eMoved_NotThere;
    if (place == eRequestPlace_First) {
        PutNext(Remove(SPlace(*found)));
        return eMoved_Yes;
    }
    const SPlace from = *found;
    SPlace to = from;
    Items::iterator before;
    if (place == eRequestPlace_Before) {
        const Places::const_iterator other = Find(otherPath);
        if (other == m_places.end())
            return eMoved_NoOther;
        if (other == found)
            return eMoved_Yes;
        to = *other;
        if (to.turn != from.turn || to.client->name != from.client->name)
            return eMoved_OtherTurn;
        before = to.item;
    } else {
        to.equals = std::prev(from.turn->priorities.end());
        to.client = PlaceOf(to.equals->second.clients, to.equals->second.clientOf, from.client->name, false);
        before = to.client->items.end();
    }
    m_places.erase(found);
    to.item = from.item;
    to.client->items.splice(before, from.client->items, from.item);
    m_places.insert(to);
    RemoveEmpty(from);
    return eMoved_Yes;
}

std::size_t CTurnList::CountOf(const std::string& owner) const
{
    const auto found = m_counts.find(owner);
    return found == m_counts.end() ? 0 : found->second;
}

CTurnList::Places::const_iterator CTurnList::Find(const CString& path) const
{
    const std::string packed = PackedText::Pack(path);
    const auto found = m_places.lower_bound(std::string_view(packed));
    return found != m_places.end() && found->item->path == packed ? found : m_places.end();
}

TSRequestItem CTurnList::Remove(SPlace place)
{
    m_places.erase(place);
    const auto [turn, equals, client, item] = place;
    TSRequestItem taken = ItemOf(*item, client->name);
    if (const auto count = m_counts.find(taken.m_strOwner); --count->second == 0)
        m_counts.erase(count);
    client->items.erase(item);
    RemoveEmpty(place);
    return taken;
}

TSRequestItem CTurnList::ItemOf(const SItem& item, const std::string& client)
{
    return {.m_strFile = PackedText::Unpack(item.path),
            .m_nRetries = item.retries,
            .m_strOwner = *item.owner,
            .m_nAttempts = item.attempts,
            .m_bTold = item.isTold,
            .m_bTakenBack = item.isTakenBack,
            .m_nPriority = item.priority,
            .m_strClient = client,
            .m_timeLimit = item.timeLimit,
            .m_pause = item.pause,
            .m_nMaxRuns = item.maxRuns,
            .m_nFailedRuns = item.failedRuns,
            .m_received = item.received};
}

void CTurnList::AddFirst(const STurn& turn, std::size_t most, std::vector<TSRequestItem>& items)
{
    for (const auto& [priority, equals] : turn.priorities) {
        std::vector<std::pair<const SClient*, Items::const_iterator>> clients;
        for (auto client = equals.clients.begin(); client != equals.clients.end() && clients.size() < most; ++client)
            clients.emplace_back(&*client, client->items.begin());
        for (bool isAny = true; isAny && items.size() < most;) {
            isAny = false;
            for (auto& [client, next] : clients) {
                if (next == client->items.end() || items.size() == most)
                    continue;
                items.push_back(ItemOf(*next++, client->name));
                isAny = true;
            }
        }
        if (items.size() == most)
            return;
    }
}

std::vector<TSRequestItem> CTurnList::First(std::size_t most) const
{
    std::vector<std::vector<TSRequestItem>> turns;
    for (auto turn = m_turns.begin(); turn != m_turns.end() && turns.size() < most; ++turn)
        AddFirst(*turn, most, turns.emplace_back());
    std::vector<TSRequestItem> first;
    for (std::size_t round = 0; round < most; ++round) {
        for (std::vector<TSRequestItem>& items : turns) {
            if (round < items.size() && first.size() < most)
                first.push_back(std::move(items[round]));
        }
    }
    return first;
}

void CTurnList::RemoveEmpty(const SPlace& place)
{
    const auto& [turn, equals, client, item] = place;
    if (client->items.empty()) {
        equals->second.clientOf.erase(client->name);
        equals->second.clients.erase(client);
    }
    if (equals->second.clients.empty())
        turn->priorities.erase(equals);
    if (turn->priorities.empty()) {
        m_turnOf.erase(turn->owner);
        m_turns.erase(turn);
    }
}
