#include "com/SystemRuntime.h"

#include "com/Xml.h"
#include "com/posix/DomDocument.h"
#include "com/posix/RuntimeState.h"

namespace com_system {

bool IsThreadInitialized() noexcept
{
    return com_posix::InitializationCount() > 0;
}

HRESULT CreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid, void** object) noexcept
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    if (!IsThreadInitialized())
        return CO_E_NOTINITIALIZED;
    if ((context & CLSCTX_INPROC_SERVER) == 0 || classId != kClsidDomDocument)
        return REGDB_E_CLASSNOTREG;
    if (outer != nullptr)
        return CLASS_E_NOAGGREGATION;
    return com_posix::CreateDomDocument(iid, object);
}

void AppendCategory(const GUID&, std::vector<CLSID>&)
{
    // The component table is this system's registry; there is nothing behind it.
}

bool DescribeClass(REFCLSID, SComponentInfo&)
{
    return false;
}

HRESULT SetRegistrationScope(eRegistrationScope)
{
    return S_OK;
}

} // namespace com_system

IComponentRegistry& SystemComponentRegistry()
{
    return ManifestComponentRegistry();
}
