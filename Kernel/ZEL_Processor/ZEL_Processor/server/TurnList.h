#pragma once

#include "ZEL_Processor/ZelProcessorEnums.h"
#include "ZEL_Processor/ZelTypes.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <list>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// An entry of the waiting queue and of the paused list.
struct TSRequestItem {
    CString m_strFile;             ///< full path of the request file in the queue directory
    std::int32_t m_nRetries = 0;   ///< how many times it was put back because its task declined
    std::string m_strOwner = {};   ///< whose file it is, as platform::FileOwner; empty when no option asks
    unsigned m_nAttempts = 0;      ///< how many runs of it the end of a server has interrupted
    bool m_bTold = false;          ///< the log has told that it was started
    bool m_bTakenBack = false;     ///< it had ended, and a power cut may have undone that
    int m_nPriority = 0;           ///< higher ones first
    std::string m_strClient = {};  ///< for whom of its owner it is, as its sender says; empty when no option asks
    std::int64_t m_nNotBefore = 0; ///< seconds since 1970-01-01 UTC; kept while it has to wait for that alone
    std::chrono::milliseconds m_timeLimit{0}; ///< of each run; 0 for none
    std::chrono::milliseconds m_pause{0};     ///< before it was asked for again the last time
    std::uint8_t m_nMaxRuns = 1;              ///< how often it is run when its runs crash or take too long
    std::uint8_t m_nFailedRuns = 0;           ///< how many did
    std::chrono::nanoseconds m_received{0};   ///< when the server took it, by the steady clock
};

/// The requests that wait, or the paused ones. Every operation costs the same for one request as for ten thousand, for
/// others decide how many there are.
///
/// By priority, and among equals first in, first out. With turns, so for the requests of each owner, and the owners
/// take turns, so that nobody waits for more than one request of each other owner, whatever priority that one gives
/// itself. When it is fair, the clients of equal requests take turns as well.
class CTurnList {
public:
    explicit CTurnList(bool takesTurns, bool isFair = false) : m_takesTurns(takesTurns), m_isFair(isFair) {}

    /// Behind all of its priority; with turns, of its owner, and when it is fair, of its client.
    void Append(TSRequestItem item);
    /// Behind all that wait now, whatever its priority; with turns, of its owner.
    void PutBack(TSRequestItem item);
    /// Before all that wait.
    void PutNext(TSRequestItem item) { Insert(std::move(item), kNext); }
    /// Moves one that waits, as the same request of the same priority: before all that wait now; behind all, or before
    /// another one, with turns of its owner, whose turn stays, and when it is fair, of its client.
    enum eMoved { eMoved_Yes, eMoved_NotThere, eMoved_NoOther, eMoved_OtherTurn };
    eMoved Move(const CString& path, eRequestPlace place, const CString& otherPath);
    /// False when nothing waits.
    bool TakeNext(TSRequestItem& item);
    /// One of this path; the comparison is exact: names differ by letter case on some file systems.
    bool Take(const CString& path, TSRequestItem& item);

    [[nodiscard]] bool Contains(const CString& path) const { return Find(path) != m_places.end(); }
    [[nodiscard]] bool IsEmpty() const { return m_turns.empty(); }
    /// How many requests of this owner there are.
    [[nodiscard]] std::size_t CountOf(const std::string& owner) const;
    [[nodiscard]] std::size_t Count() const { return m_places.size(); }
    /// The next ones, at most so many, as far as nothing comes or goes meanwhile. Costs no more than their square.
    [[nodiscard]] std::vector<TSRequestItem> First(std::size_t most) const;

private:
    /// Of what was put before all that wait.
    static constexpr int kNext = std::numeric_limits<int>::max();

    /// An entry as it is kept, packed: there may be a million.
    struct SItem {
        std::string path; ///< as PackedText
        std::int32_t retries = 0;
        unsigned attempts = 0;
        int priority = 0;
        bool isTold = false;
        bool isTakenBack = false;
        std::uint8_t maxRuns = 1;
        std::uint8_t failedRuns = 0;
        const std::string* owner; ///< key of m_counts
        std::chrono::milliseconds timeLimit{0};
        std::chrono::milliseconds pause{0};
        std::chrono::nanoseconds received{0};
    };
    using Items = std::list<SItem>; ///< the next in front
    struct SClient {
        std::string name; ///< empty unless it is fair
        Items items;      ///< never empty
    };
    using Clients = std::list<SClient>; ///< the next in front
    /// Those of one priority.
    struct SEquals {
        Clients clients; ///< never empty
        std::map<std::string, Clients::iterator> clientOf;
    };
    using ByPriority = std::map<int, SEquals, std::greater<>>;
    struct STurn {
        std::string owner;     ///< empty without turns
        ByPriority priorities; ///< never empty
    };
    using Turns = std::list<STurn>; ///< the next in front
    struct SPlace {
        Turns::iterator turn;
        ByPriority::iterator equals;
        Clients::iterator client;
        Items::iterator item;
    };
    /// By path, and by address: a file that somebody deleted may have been sent again.
    struct SByPath {
        using is_transparent = void;
        bool operator()(const SPlace& left, const SPlace& right) const;
        bool operator()(const SPlace& left, std::string_view right) const { return left.item->path < right; }
        bool operator()(std::string_view left, const SPlace& right) const { return left < right.item->path; }
    };
    using Places = std::set<SPlace, SByPath>;

    /// Among those of this priority, its own or another.
    void Insert(TSRequestItem item, int priority);
    [[nodiscard]] const std::string& TurnOf(const TSRequestItem& item) const;
    [[nodiscard]] Places::const_iterator Find(const CString& path) const;
    TSRequestItem Remove(SPlace place);
    static TSRequestItem ItemOf(const SItem& item, const std::string& client);
    static void AddFirst(const STurn& turn, std::size_t most, std::vector<TSRequestItem>& items);
    /// Lists that are empty without what was taken out of this place.
    void RemoveEmpty(const SPlace& place);

    const bool m_takesTurns;
    const bool m_isFair;
    Turns m_turns;
    std::map<std::string, Turns::iterator> m_turnOf;
    std::map<std::string, std::size_t> m_counts;
    Places m_places;
};
