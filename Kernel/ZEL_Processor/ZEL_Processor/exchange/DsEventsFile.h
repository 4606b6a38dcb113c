#pragma once

#include "ZELAutomation/ZELAutomationEnvFile.h"
#include "platform/OsError.h"

#include <atomic>
#include <cstdint>
#include <string>

/// What the server needs of events files beside ZELAutomationEnvFile.
namespace DsEventsFile {

/// Whether a file of these events has at most so many bytes, which must be fewer than an archive holds. Throws what
/// writing them does.
[[nodiscard]] bool Fits(const CDsEventsDataVector& events, std::uint64_t maxBytes);

// WriteDsEventsFile and ReadDsEventsFile for whoever may be stopped: waiting for a file that the other side has open
// also ends, with false, when pGoOn turns false.

[[nodiscard]] bool Write(const CString& path, const CDsEventsDataVector& events, const std::atomic<bool>* pGoOn);

enum eRead {
    eRead_Done,
    eRead_NotOpened, ///< somebody holds it, say: what is in it is not known
    eRead_Damaged,
};
[[nodiscard]] eRead Read(const CString& path, CDsEventsDataVector& events, const std::atomic<bool>* pGoOn);
/// Why a file could not be read just now. SharingViolation, too, when it could be meanwhile.
[[nodiscard]] platform::eOsError WhyNotOpened(const CString& path);

// For whoever adds events one after the other and must not pay for those that are there already.

/// Events as they stand in a file, oldest first.
struct SRecords {
    int count = 0;
    std::string bytes;
};
/// Throws what writing the event does.
[[nodiscard]] SRecords RecordOf(IWQ_DsEventsData& event);
/// One event of kind "read everything again".
[[nodiscard]] SRecords Reload();
/// Adds records. When a file of all had more bytes they become one, of kind "read everything again".
void Add(SRecords& records, const SRecords& news, std::uint64_t maxBytes);

/// What the one writer of a file knows of it: where it ends, and how many events are in it.
struct SEnd {
    std::uint64_t length = 0;
    int count = 0;
};
/// Adds records to a file, which is made when it is missing; the caller holds its lock. Tries once. What is written
/// does not depend on the length of the file, and nothing is read while the end is that of the last call, or the file
/// empty. A file that would have more bytes, and one whose content was lost or can't be read, becomes one event of kind
/// "read everything again". What is left in news was not written.
[[nodiscard]] platform::eOsError Append(const CString& path, SRecords& news, std::uint64_t maxBytes, SEnd& end);

} // namespace DsEventsFile
