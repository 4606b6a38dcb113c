#include "platform/ThreadName.h"

#include "platform/Text.h"
#include "platform/win32/SystemError.h"

namespace platform {

void NameThreadForTheSystem(const char* name)
{
    // Windows 10 has it since 2016 only, and not every emulation has it at all; a thread works without a name.
    using SetDescriptionFunction = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    static const auto setDescription =
        win32::OptionalFunction<SetDescriptionFunction>(L"kernel32.dll", "SetThreadDescription");
    if (setDescription != nullptr) {
        setDescription(GetCurrentThread(), FromUtf8(name).c_str());
    }
}

} // namespace platform
