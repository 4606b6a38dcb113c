#include "com/ComObject.h"
#include "platform/FileSystem.h"
#include "platform/Module.h"

// A module that leaves a file behind for each of its functions that runs, in the folder that a variable names: so a
// test sees that none did.

namespace {

void LeaveTrace(const wchar_t* what)
{
    const std::wstring folder = platform::Environment(L"ZEL_TEST_TRACES");
    if (!folder.empty())
        static_cast<void>(platform::WriteWholeFile(folder + L"/" + what, ""));
}

/// Runs when the module is loaded.
const struct SLoaded {
    SLoaded() { LeaveTrace(L"loaded"); }
} g_loaded;

} // namespace

ZEL_COM_ENTRY DllGetClassObject(REFCLSID, REFIID, void** object)
{
    LeaveTrace(L"class");
    *object = nullptr;
    return CLASS_E_CLASSNOTAVAILABLE;
}

ZEL_COM_ENTRY DllRegisterServer()
{
    LeaveTrace(L"registered");
    return S_OK;
}

ZEL_COM_ENTRY DllUnregisterServer()
{
    LeaveTrace(L"unregistered");
    return S_OK;
}
