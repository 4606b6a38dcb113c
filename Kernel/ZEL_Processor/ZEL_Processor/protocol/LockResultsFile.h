#pragma once

#include "ZEL_Processor/ZelTypes.h"

/// The file that tells a client of changed lock results: an XML archive with one empty element. That there is something
/// in it is all that it says, so nobody reads it.
namespace LockResultsFile {

/// reason: why not, for whoever wants to know.
[[nodiscard]] bool Write(const CString& path, CString* reason = nullptr);

} // namespace LockResultsFile
