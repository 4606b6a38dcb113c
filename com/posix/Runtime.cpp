#include "com/posix/Runtime.h"

#include "com/Guid.h"
#include "com/ZelCom.h"
#include "com/posix/RuntimeState.h"
#include "platform/Os.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <limits>
#include <new>

namespace {

/// Bytes before the characters of a BSTR. The length takes the last four; the rest keeps the characters aligned as
/// malloc aligns.
constexpr std::size_t kBstrHeader = 16;

thread_local int t_initializations = 0;

unsigned char* BlockOf(BSTR text) noexcept
{
    return reinterpret_cast<unsigned char*>(text) - kBstrHeader;
}

} // namespace

namespace com_posix {

int InitializationCount() noexcept
{
    return t_initializations;
}

} // namespace com_posix

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) noexcept
{
    constexpr UINT longest = std::numeric_limits<UINT>::max() / sizeof(OLECHAR) - 1;
    if (length > longest)
        return nullptr;
    const UINT bytes = length * static_cast<UINT>(sizeof(OLECHAR));
    auto* block = static_cast<unsigned char*>(std::malloc(kBstrHeader + bytes + sizeof(OLECHAR)));
    if (block == nullptr)
        return nullptr;
    std::memcpy(block + kBstrHeader - sizeof(bytes), &bytes, sizeof(bytes));
    auto* characters = reinterpret_cast<OLECHAR*>(block + kBstrHeader);
    if (text != nullptr && length != 0)
        std::memcpy(characters, text, bytes);
    characters[length] = 0;
    return characters;
}

BSTR SysAllocString(const OLECHAR* text) noexcept
{
    if (text == nullptr)
        return nullptr;
    const std::size_t length = std::wcslen(text);
    return length > std::numeric_limits<UINT>::max() ? nullptr : SysAllocStringLen(text, static_cast<UINT>(length));
}

void SysFreeString(BSTR text) noexcept
{
    if (text != nullptr)
        std::free(BlockOf(text));
}

UINT SysStringByteLen(BSTR text) noexcept
{
    if (text == nullptr)
        return 0;
    UINT bytes = 0;
    std::memcpy(&bytes, BlockOf(text) + kBstrHeader - sizeof(bytes), sizeof(bytes));
    return bytes;
}

UINT SysStringLen(BSTR text) noexcept
{
    return SysStringByteLen(text) / static_cast<UINT>(sizeof(OLECHAR));
}

void VariantInit(VARIANT* variant) noexcept
{
    *variant = VARIANT{};
}

HRESULT VariantClear(VARIANT* variant) noexcept
{
    switch (variant->vt) {
    case VT_BSTR: SysFreeString(variant->bstrVal); break;
    case VT_UNKNOWN:
    case VT_DISPATCH:
        if (variant->punkVal != nullptr)
            variant->punkVal->Release();
        break;
    default:
        if (variant->vt > VT_UINT || variant->vt == VT_VARIANT)
            return DISP_E_BADVARTYPE;
        break;
    }
    VariantInit(variant);
    return S_OK;
}

HRESULT VariantCopy(VARIANT* target, const VARIANT* source) noexcept
{
    if (target == source)
        return S_OK;
    VARIANT copy = *source;
    switch (copy.vt) {
    case VT_BSTR:
        if (source->bstrVal != nullptr) {
            copy.bstrVal = SysAllocStringLen(source->bstrVal, SysStringLen(source->bstrVal));
            if (copy.bstrVal == nullptr)
                return E_OUTOFMEMORY;
        }
        break;
    case VT_UNKNOWN:
    case VT_DISPATCH:
        if (copy.punkVal != nullptr)
            copy.punkVal->AddRef();
        break;
    default:
        if (copy.vt > VT_UINT || copy.vt == VT_VARIANT)
            return DISP_E_BADVARTYPE;
        break;
    }
    const HRESULT cleared = VariantClear(target);
    if (FAILED(cleared)) {
        static_cast<void>(VariantClear(&copy));
        return cleared;
    }
    *target = copy;
    return S_OK;
}

void* CoTaskMemAlloc(SIZE_T bytes) noexcept
{
    return std::malloc(bytes == 0 ? 1 : bytes);
}

void CoTaskMemFree(void* memory) noexcept
{
    std::free(memory);
}

HRESULT CoInitialize(void* reserved) noexcept
{
    if (reserved != nullptr)
        return E_INVALIDARG;
    return ++t_initializations == 1 ? S_OK : S_FALSE;
}

void CoUninitialize() noexcept
{
    if (t_initializations > 0)
        --t_initializations;
}

HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid, void** object) noexcept
{
    // There is one registry here, the component table.
    return CoCreateInstanceZEL(classId, outer, context, iid, object);
}

HRESULT CoCreateGuid(GUID* guid) noexcept
{
    if (guid == nullptr)
        return E_INVALIDARG;
    try {
        const auto bytes = platform::NewUniqueId();
        static_assert(sizeof(bytes) == sizeof(GUID));
        std::memcpy(guid, bytes.data(), sizeof(GUID));
        return S_OK;
    } catch (...) {
        return E_FAIL;
    }
}

HRESULT StringFromCLSID(REFCLSID classId, LPOLESTR* text) noexcept
{
    return StringFromCLSIDZEL(&classId, text);
}

HRESULT CLSIDFromString(LPCOLESTR text, CLSID* classId) noexcept
{
    if (classId == nullptr)
        return E_INVALIDARG;
    *classId = GUID_NULL;
    return text == nullptr ? S_OK : CLSIDFromStringZEL(text, classId);
}
