#pragma once

#include "TurnList.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// Requests whose time has not come. Every operation costs the logarithm of their number, for others decide how many
/// there are; a limit for each owner (SZelServerOptions::maxQueued) counts them with those that wait.
class CLaterList {
public:
    /// time: by whatever clock the caller has.
    void Add(std::int64_t time, TSRequestItem item);
    /// The one whose time came first, of those whose time has come.
    bool TakeDue(std::int64_t now, TSRequestItem& item);
    /// One of this path; the comparison is exact.
    bool Take(const CString& path, TSRequestItem& item);

    [[nodiscard]] bool Contains(const CString& path) const { return m_byPath.contains(path); }
    /// Of the one whose time comes first; there must be one.
    [[nodiscard]] std::int64_t NextTime() const { return m_byTime.begin()->first; }
    [[nodiscard]] bool IsEmpty() const { return m_byTime.empty(); }
    [[nodiscard]] std::size_t CountOf(const std::string& owner) const;
    [[nodiscard]] std::size_t Count() const { return m_byTime.size(); }
    /// Adds those whose time comes first, until there are so many.
    void AddFirst(std::size_t most, std::vector<TSRequestItem>& items) const;

private:
    using ByTime = std::multimap<std::int64_t, TSRequestItem>; ///< equal ones in the order of their arrival

    TSRequestItem Remove(ByTime::iterator place);

    ByTime m_byTime;
    std::multimap<CString, ByTime::iterator> m_byPath; ///< a file that somebody deleted may have been sent again
    std::map<std::string, std::size_t> m_counts;       ///< of each owner, never 0
};
