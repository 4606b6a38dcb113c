#pragma once

#include "HandOver.h"
#include "com/Com.h"

/// The server's answer to a registration: a file with the client's id on its first line.
namespace RegistrationAnswer {

/// Makes the file, waiting as goOn says for who has one of the name open. Anew, whatever its name: what lies there
/// already is somebody else's.
[[nodiscard]] platform::eOsError Write(const CString& path, const GUID& clientId, const Protocol::GoOn& goOn);

/// The id is all zero when the file has none.
[[nodiscard]] platform::eOsError Read(const CString& path, GUID& clientId);

} // namespace RegistrationAnswer
