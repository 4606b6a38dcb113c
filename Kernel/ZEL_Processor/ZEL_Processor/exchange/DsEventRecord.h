#pragma once

#include "ZEL_Processor/Archive.h"
#include "framework/DsEventsData.h"

/// One event in an events file.
namespace DsEventRecord {

/// Version and sub-version that each record starts with.
struct SVersion {
    int version;
    int subVersion;
};
constexpr SVersion kEventVersion = {4, 1};
constexpr SVersion kListVersion = {3, 1};
constexpr SVersion kGuidSetVersion = {2, 1};
constexpr int kIndexMapVersion = 1;
/// Number of integers of a key that the index table does not have.
constexpr int kNoIndexes = -1;

/// Throws CComError when the archive or a part of the event fails, CNotSupportedException for a list that miscounts
/// itself.
void Write(_ar::archive& archive, IWQ_DsEventsData& event);

/// Reads a record into an empty event. False when it is none, or not of a known version; throws CComError when the
/// archive ends before the record does. Makes no room before it knows that the archive has the bytes.
[[nodiscard]] bool Read(_ar::archive& archive, IWQ_DsEventsData& event);

/// A new event with all that a record of this one holds. Throws as Write does, and CComError (E_INVALIDARG) when the
/// record could not be read back.
[[nodiscard]] CComPtr<IWQ_DsEventsData> Copy(IWQ_DsEventsData& event);

} // namespace DsEventRecord
