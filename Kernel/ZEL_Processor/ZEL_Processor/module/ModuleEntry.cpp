#include "ZEL_Processor/ZEL_ProcessorApp.h"
#include "com/ComObject.h"
#include "framework/ComModule.h"

// What a component module exports. Apart from the library's other sources, so that a program which links their objects
// in can be a module of its own.

ZEL_COM_ENTRY DllGetClassObject(REFCLSID classId, REFIID iid, void** object)
{
    return ComGuard([&] { return ZEL_ProcessorApp().ComModule().GetClassObject(classId, iid, object); });
}

ZEL_COM_ENTRY DllCanUnloadNow()
{
    return ComGuard([] { return ZEL_ProcessorApp().ComModule().CanUnload() ? S_OK : S_FALSE; });
}

ZEL_COM_ENTRY DllRegisterServer()
{
    return ComGuard([] { return ZEL_ProcessorApp().ComModule().RegisterServer(true); });
}

ZEL_COM_ENTRY DllUnregisterServer()
{
    return ComGuard([] { return ZEL_ProcessorApp().ComModule().UnregisterServer(true); });
}
