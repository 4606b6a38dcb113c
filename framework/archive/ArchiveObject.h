#pragma once

#include "com/ComPtr.h"
#include "framework/Archive.h"
#include "framework/archive/ArchiveBuffer.h"

#include <string>

/// What an archive was told about the objects that it stores or loads.
struct SArchiveSettings {
    std::wstring name;
    std::uint32_t flags = 0;
    std::int16_t version = 0;
    unsigned depth = 0; ///< of objects that are being stored or loaded inside each other
};

/// The record of an object in an archive (docs/archives.md). The functions throw CComError; the archive is the one that
/// the object is handed, and the buffer holds its bytes.
namespace ArchiveObject {

/// After a failure nothing of the object is in the buffer.
void Store(IWQ_Archive& archive, CArchiveBuffer& buffer, SArchiveSettings& settings, IWQ_ArchiveObj& object);
[[nodiscard]] CComPtr<IWQ_ArchiveObj> Load(IWQ_Archive& archive, CArchiveBuffer& buffer, SArchiveSettings& settings);
/// True when a whole record of the wanted name comes next. The position stays.
[[nodiscard]] bool IsNext(CArchiveBuffer& buffer, const SArchiveSettings& settings);

} // namespace ArchiveObject
