#include "LibraryUses.h"

namespace {

/// Without a destructor: an object that a careless client keeps to the end of the process counts itself off here.
constinit CModuleUses g_libraryUses;

} // namespace

CModuleUses& LibraryUses() noexcept
{
    return g_libraryUses;
}
