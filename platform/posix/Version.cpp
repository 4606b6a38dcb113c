#include "platform/Version.h"

#include "platform/Text.h"

#include <sys/utsname.h>

namespace platform {

std::wstring SystemVersion()
{
    utsname names{};
    if (uname(&names) != 0)
        return L"unknown";
    return FromUtf8(names.sysname) + L" " + FromUtf8(names.release) + L" " + FromUtf8(names.machine);
}

} // namespace platform
