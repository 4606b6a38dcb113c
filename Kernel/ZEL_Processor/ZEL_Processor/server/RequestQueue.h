#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <utility>

/// An entry of the waiting queue and of the paused list.
struct TSRequestItem {
    CString m_strFile;           ///< full path of the request file in the queue directory
    std::int32_t m_nRetries = 0; ///< how many times it was put back because its task declined
    std::string m_strOwner = {}; ///< whose file it is, as platform::FileOwner; empty when no option asks
};

/// The requests that wait, or the paused ones. Every operation costs the same for one request as for ten thousand, for
/// others decide how many there are.
///
/// First in, first out; with turns, so for the requests of each owner, and the owners take turns, so that nobody waits
/// for more than one request of each other owner.
class CRequestQueue {
public:
    explicit CRequestQueue(bool takesTurns) : m_takesTurns(takesTurns) {}

    /// Behind all that wait; with turns, behind those of its owner.
    void Append(TSRequestItem item) { Insert(std::move(item), false); }
    /// Before all that wait.
    void PutNext(TSRequestItem item) { Insert(std::move(item), true); }
    /// False when nothing waits.
    bool TakeNext(TSRequestItem& item);
    /// One of this path; the comparison is exact: names differ by letter case on some file systems.
    bool Take(const CString& path, TSRequestItem& item);

    [[nodiscard]] bool Contains(const CString& path) const { return Find(path) != m_places.end(); }
    [[nodiscard]] bool IsEmpty() const { return m_turns.empty(); }
    /// How many requests of this owner there are.
    [[nodiscard]] std::size_t CountOf(const std::string& owner) const;

private:
    using Items = std::list<TSRequestItem>; ///< the next in front
    struct STurn {
        std::string owner; ///< empty without turns
        Items items;       ///< never empty
    };
    using Turns = std::list<STurn>; ///< the next in front
    struct SPlace {
        Turns::iterator turn;
        Items::iterator item;
    };
    /// By path, which is the item's own, and by address: a file that somebody deleted may have been sent again.
    using Key = std::pair<std::wstring_view, const TSRequestItem*>;
    using Places = std::map<Key, SPlace>;

    void Insert(TSRequestItem item, bool isNext);
    [[nodiscard]] Places::const_iterator Find(const CString& path) const;
    TSRequestItem Remove(const SPlace& place);

    const bool m_takesTurns;
    Turns m_turns;
    std::map<std::string, Turns::iterator> m_turnOf;
    std::map<std::string, std::size_t> m_counts;
    Places m_places;
};
