#include "plugins/datastore/TableSnapshot.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <xxhash.h>

void CRowHash::AddBytes(const void* bytes, std::size_t count)
{
    m_nValue = XXH3_64bits_withSeed(bytes, count, m_nValue);
}

void CRowHash::Add(const SValue& value)
{
    // Type and length first, so that neighbours can't trade bytes unnoticed.
    const std::uint64_t shape = std::uint64_t{value.bytes.size()} << 3 | static_cast<std::uint64_t>(value.type);
    AddBytes(&shape, sizeof shape);
    if (value.type == eValue_Integer)
        AddBytes(&value.integer, sizeof value.integer);
    else if (value.type == eValue_Real)
        AddBytes(&value.real, sizeof value.real);
    else
        AddBytes(value.bytes.data(), value.bytes.size());
}

bool CTableSnapshot::AddRow(const SValue& id, std::uint64_t hash)
{
    if (m_nRows == kMaxRows) {
        GiveUp();
        return false;
    }
    ++m_nRows;
    m_nContent = std::rotl(m_nContent, 7) * 0x9E3779B97F4A7C15U + hash;
    if (!m_bHasIds)
        return true;
    if (TakesId(id))
        m_rows.push_back({static_cast<LONG>(id.integer), hash});
    else
        ForgetIds();
    return true;
}

bool CTableSnapshot::TakesId(const SValue& id) const
{
    return id.type == eValue_Integer && id.integer >= std::numeric_limits<std::int32_t>::min() &&
           id.integer <= std::numeric_limits<std::int32_t>::max() && (m_rows.empty() || m_rows.back().id < id.integer);
}

void CTableSnapshot::ForgetIds()
{
    m_bHasIds = false;
    m_rows = {};
}

void CTableSnapshot::GiveUp()
{
    ForgetIds();
    m_bGivenUp = true;
}

bool CTableSnapshot::IsToBeLeft(const CTableSnapshot& old)
{
    m_nPause = old.m_nPause;
    m_nLeft = old.m_nLeft + 1;
    if (m_strDefinition != old.m_strDefinition || m_nLeft > m_nPause)
        return false;
    GiveUp();
    return true;
}

void CTableSnapshot::FindTooLarge(const CTableSnapshot* old)
{
    constexpr unsigned kLongestPause = 1024;
    GiveUp();
    m_nPause = old == nullptr || old->m_nPause == 0 ? 1 : std::min(2 * old->m_nPause, kLongestPause);
    m_nLeft = 0;
}

STableChange CTableSnapshot::ChangeSince(const CTableSnapshot& old) const
{
    STableChange change;
    if (!m_bHasIds || !old.m_bHasIds) {
        change.isWhole = m_bGivenUp || old.m_bGivenUp || m_nRows != old.m_nRows || m_nContent != old.m_nContent;
        return change;
    }
    auto now = m_rows.begin();
    auto then = old.m_rows.begin();
    while (now != m_rows.end() || then != old.m_rows.end()) {
        if (then == old.m_rows.end() || (now != m_rows.end() && now->id < then->id)) {
            change.added.push_back((now++)->id);
        } else if (now == m_rows.end() || then->id < now->id) {
            change.removed.push_back((then++)->id);
        } else {
            if (now->hash != then->hash)
                change.changed.push_back(now->id);
            ++now;
            ++then;
        }
    }
    return change.Count() > kMaxIds ? STableChange{.isWhole = true, .added = {}, .changed = {}, .removed = {}} : change;
}
