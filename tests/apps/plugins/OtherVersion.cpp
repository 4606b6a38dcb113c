#include "com/ComponentModule.h"

#include <cstdlib>

// A plug-in of a later version of the interfaces: nothing in it may be called but the function that says so.

ZEL_COM_ENTRY DllGetClassObject(REFCLSID, REFIID, void**)
{
    std::abort();
}

ZEL_COM_ENTRY DllRegisterServer()
{
    std::abort();
}

ZEL_COM_ENTRY DllUnregisterServer()
{
    return S_OK;
}

extern "C" ZEL_EXPORTED std::uint32_t ZelPluginVersion()
{
    return kComponentVersion + 1;
}
