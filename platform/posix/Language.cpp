#include "platform/Language.h"

namespace platform {

std::vector<std::wstring> DesktopLanguages()
{
    return {}; // a desktop sets the variables
}

} // namespace platform
