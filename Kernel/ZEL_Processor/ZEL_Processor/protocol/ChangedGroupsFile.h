#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "com/Com.h"

#include <cstddef>
#include <vector>

/// The file of the changed groups that a client has not taken yet: an XML archive with their ids, oldest first. In it
/// the null id means that everything may have changed, whatever else is there.
namespace ChangedGroupsFile {

/// How much of them waits for a client that does not read, when the host set SZelServerOptions::eventsLimit. Readers
/// know no limit but that of an archive.
/// So many ids are written as they came, repeats included; in a longer list each id once. Some 300 KB.
constexpr std::size_t kMaxWithRepeats = 4096;
/// So many different ids; more become the null id. No palette has as many groups: it takes ids that are made up anew
/// with each change.
constexpr std::size_t kMaxIds = 16384;

enum eRead {
    eRead_Ok,
    eRead_Unreadable, ///< somebody holds it, say: what is in it is not known
    eRead_Damaged,    ///< no archive
};
struct SContent {
    std::vector<GUID> ids;
    /// "Group" elements side by side with the ids as attributes: a form that is read, and that no server writes.
    bool isSideBySide = false;
    CString reason; ///< when it was not read
};
[[nodiscard]] eRead Read(const CString& path, SContent& content);
/// reason: why not, for whoever wants to know.
[[nodiscard]] bool Write(const CString& path, const std::vector<GUID>& ids, CString* reason = nullptr);

/// Each id once. More than kMaxIds become the null id.
[[nodiscard]] std::vector<GUID> WithoutRepeats(const std::vector<GUID>& ids);
/// What a client gets of these ids, if what waits is limited: one that never reads must not make its file grow with
/// every change.
[[nodiscard]] std::vector<GUID> Bounded(std::vector<GUID> ids);

} // namespace ChangedGroupsFile
