#include "protocol/RegistrationAnswer.h"

#include "com/Guid.h"
#include "fuzz/Fuzz.h"
#include "platform/Text.h"

/// An id that was read is the one that its text names; everything else is no id.
void TryBytes(const std::string& bytes)
{
    GUID clientId{};
    if (!platform::Succeeded(RegistrationAnswer::Read(ScratchFile(bytes), clientId)))
        return Require(bytes.size() > 1024);
    if (IsEqualGUID(clientId, GUID{}))
        return;
    GUID again{};
    Require(RegistrationAnswer::Read(ScratchFile(platform::ToUtf8(GuidToText(clientId))), again) ==
            platform::eOsError_None);
    Require(IsEqualGUID(clientId, again) != 0);
}
