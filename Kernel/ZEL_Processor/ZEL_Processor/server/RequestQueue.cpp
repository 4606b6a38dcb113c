#include "RequestQueue.h"

void CRequestQueue::Insert(TSRequestItem item, bool isNext)
{
    const std::string owner = m_takesTurns ? item.m_strOwner : std::string();
    auto found = m_turnOf.find(owner);
    if (found == m_turnOf.end())
        found = m_turnOf.emplace(owner, m_turns.insert(m_turns.end(), {owner, {}})).first;
    const Turns::iterator turn = found->second;
    if (isNext)
        m_turns.splice(m_turns.begin(), m_turns, turn);
    ++m_counts[item.m_strOwner];
    const Items::iterator place = turn->items.insert(isNext ? turn->items.begin() : turn->items.end(), std::move(item));
    m_places.emplace(Key(place->m_strFile, &*place), SPlace{turn, place});
}

bool CRequestQueue::TakeNext(TSRequestItem& item)
{
    if (IsEmpty())
        return false;
    const Turns::iterator turn = m_turns.begin();
    m_turns.splice(m_turns.end(), m_turns, turn);
    item = Remove({turn, turn->items.begin()});
    return true;
}

bool CRequestQueue::Take(const CString& path, TSRequestItem& item)
{
    const Places::const_iterator found = Find(path);
    if (found == m_places.end())
        return false;
    item = Remove(found->second);
    return true;
}

std::size_t CRequestQueue::CountOf(const std::string& owner) const
{
    const auto found = m_counts.find(owner);
    return found == m_counts.end() ? 0 : found->second;
}

CRequestQueue::Places::const_iterator CRequestQueue::Find(const CString& path) const
{
    const auto found = m_places.lower_bound({path, nullptr});
    return found != m_places.end() && found->first.first == path ? found : m_places.end();
}

TSRequestItem CRequestQueue::Remove(const SPlace& place)
{
    const auto [turn, item] = place; // the place is gone after the next line
    m_places.erase({item->m_strFile, &*item});
    TSRequestItem taken = std::move(*item);
    turn->items.erase(item);
    if (turn->items.empty()) {
        m_turnOf.erase(turn->owner);
        m_turns.erase(turn);
    }
    if (const auto count = m_counts.find(taken.m_strOwner); --count->second == 0)
        m_counts.erase(count);
    return taken;
}
