#include "RequestIntake.h"

void CRequestIntake::Add(const std::string& owner, const CString& name)
{
    const bool isKnown = m_owners.size() < kOwners || m_owners.contains(owner);
    SNames& mine = m_owners[isKnown ? owner : std::string()];
    ++mine.added;
    if (mine.names.size() < kNamesPerOwner) {
        mine.names.push_back(name);
        return;
    }
    m_hasLeftOut = true;
    if (const std::uint64_t place = m_random() % mine.added; place < kNamesPerOwner)
        mine.names[static_cast<std::size_t>(place)] = name;
}

bool CRequestIntake::TakeNext(CString& name)
{
    if (m_owners.empty())
        return false;
    auto turn = m_owners.upper_bound(m_strLast);
    if (turn == m_owners.end())
        turn = m_owners.begin();
    m_strLast = turn->first;
    SNames& mine = turn->second;
    name = std::move(mine.names[mine.taken++]);
    if (mine.taken == mine.names.size())
        m_owners.erase(turn);
    return true;
}
