#include "com/ZelCom.h"

#include "com/ComPtr.h"
#include "com/Components.h"
#include "com/Guid.h"
#include "com/SystemRuntime.h"

#include <cstring>
#include <cwchar>
#include <new>

namespace {

thread_local int t_zelInitializations = 0;

HRESULT CreateFromTable(REFCLSID classId, IUnknown* outer, REFIID iid, void** object)
{
    CComPtr<IClassFactory> factory;
    const HRESULT result = GetComponentClassObject(classId, ComIid<IClassFactory>(), factory.PutVoid());
    return FAILED(result) ? result : factory->CreateInstance(outer, iid, object);
}

} // namespace

HRESULT CoCreateInstanceSYS(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid, void** object) noexcept
{
    return com_system::CreateInstance(classId, outer, context, iid, object);
}

HRESULT CoCreateInstanceZEL(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid, void** object) noexcept
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    if (!com_system::IsThreadInitialized())
        return CO_E_NOTINITIALIZED;
    try {
        if ((context & CLSCTX_INPROC_SERVER) != 0 && IsComponentKnown(classId))
            return CreateFromTable(classId, outer, iid, object);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        // A component that throws out of its class factory breaks the contract; the caller gets a failure all the same.
        *object = nullptr;
        return E_UNEXPECTED;
    }
    return CoCreateInstanceSYS(classId, outer, context, iid, object);
}

HRESULT CoInitializeSYS(void* reserved) noexcept
{
    return ::CoInitialize(reserved);
}

void CoUninitializeSYS() noexcept
{
    ::CoUninitialize();
}

HRESULT CoInitializeZEL(void* reserved) noexcept
{
    if (t_zelInitializations > 0) {
        ++t_zelInitializations;
        return S_FALSE;
    }
    const HRESULT result = CoInitializeSYS(reserved);
    if (FAILED(result))
        return result;
    t_zelInitializations = 1;
    return S_OK;
}

void CoUninitializeZEL() noexcept
{
    if (t_zelInitializations == 0)
        return;
    if (--t_zelInitializations == 0)
        CoUninitializeSYS();
}

HRESULT CLSIDFromStringZEL(const wchar_t* text, GUID* guid) noexcept
{
    if (guid == nullptr)
        return E_POINTER;
    *guid = GUID_NULL;
    if (text == nullptr)
        return E_POINTER;
    return GuidFromText(std::wstring_view(text), *guid) ? S_OK : CO_E_CLASSSTRING;
}

HRESULT StringFromCLSIDZEL(const GUID* guid, wchar_t** text) noexcept
{
    if (text == nullptr)
        return E_POINTER;
    *text = nullptr;
    if (guid == nullptr)
        return E_POINTER;
    try {
        const std::wstring form = GuidToText(*guid);
        const std::size_t bytes = (form.size() + 1) * sizeof(wchar_t);
        void* memory = CoTaskMemAlloc(bytes);
        if (memory == nullptr)
            return E_OUTOFMEMORY;
        std::memcpy(memory, form.c_str(), bytes);
        *text = static_cast<wchar_t*>(memory);
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}
