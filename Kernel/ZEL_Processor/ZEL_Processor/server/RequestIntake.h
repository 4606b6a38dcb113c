#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

/// Names of files that a scan found and has not taken yet, by their owners, who take turns. However many are added, it
/// keeps a few of each owner: those that it leaves out are found again by the next scan. Which ones it keeps is chance,
/// so that none can be kept out for long by what others of its owner put before it.
class CRequestIntake {
public:
    /// As many as the taking of a scan has time for where it takes long.
    static constexpr std::size_t kNamesPerOwner = 4096;
    /// Those beyond share a turn.
    static constexpr std::size_t kOwners = 64;

    void Add(const std::string& owner, const CString& name);
    /// False when nothing is kept any more.
    bool TakeNext(CString& name);
    /// True when there was more than it keeps.
    [[nodiscard]] bool HasLeftOut() const { return m_hasLeftOut; }

private:
    struct SNames {
        std::vector<CString> names; ///< in the order in which they came, as long as none was left out
        std::uint64_t added = 0;
        std::size_t taken = 0;
    };
    std::map<std::string, SNames> m_owners;
    std::string m_strLast; ///< whose turn it was
    bool m_hasLeftOut = false;
    std::minstd_rand m_random{std::random_device()()};
};
