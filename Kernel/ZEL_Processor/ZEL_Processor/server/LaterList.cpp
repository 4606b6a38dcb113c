#include "LaterList.h"

#include <algorithm>
#include <utility>

void CLaterList::Add(std::int64_t time, TSRequestItem item)
{
    ++m_counts[item.m_strOwner];
    const ByTime::iterator place = m_byTime.emplace(time, std::move(item));
    m_byPath.emplace(place->second.m_strFile, place);
}

bool CLaterList::TakeDue(std::int64_t now, TSRequestItem& item)
{
    if (IsEmpty() || m_byTime.begin()->first > now)
        return false;
    item = Remove(m_byTime.begin());
    return true;
}

bool CLaterList::Take(const CString& path, TSRequestItem& item)
{
    const auto found = m_byPath.find(path);
    if (found == m_byPath.end())
        return false;
    item = Remove(found->second);
    return true;
}

std::size_t CLaterList::CountOf(const std::string& owner) const
{
    const auto found = m_counts.find(owner);
    return found == m_counts.end() ? 0 : found->second;
}

void CLaterList::AddFirst(std::size_t most, std::vector<TSRequestItem>& items) const
{
    for (auto entry = m_byTime.begin(); entry != m_byTime.end() && items.size() < most; ++entry)
        items.push_back(entry->second);
}

TSRequestItem CLaterList::Remove(ByTime::iterator place)
{
    const auto [first, last] = m_byPath.equal_range(place->second.m_strFile);
    m_byPath.erase(std::find_if(first, last, [&](const auto& entry) { return entry.second == place; }));
    TSRequestItem item = std::move(place->second);
    m_byTime.erase(place);
    if (const auto count = m_counts.find(item.m_strOwner); --count->second == 0)
        m_counts.erase(count);
    return item;
}
