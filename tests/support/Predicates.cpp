#include "tests/support/Predicates.h"

#include "platform/Module.h"

namespace testsupport {

bool IsWine()
{
    // Set for every program that Wine starts, and never on Windows.
    return platform::PathListSeparator() == L';' && !platform::Environment(L"WINEPREFIX").empty();
}

bool IsNoteOfALockLost()
{
    return platform::PathListSeparator() == L';';
}

bool IsThreadSanitized()
{
#if defined(__SANITIZE_THREAD__)
    return true;
#else
    return false;
#endif
}

bool IsAddressSanitized()
{
#if defined(__SANITIZE_ADDRESS__)
    return true;
#else
    return false;
#endif
}

} // namespace testsupport
