#include "com/XmlLoad.h"

#include "com/ComError.h"
#include "com/Variant.h"

#include <algorithm>

// The DOM is the system's. It is given what was looked at, as bytes: the name of a file it would read once more, and
// take for an address.

namespace {

CVariant ArrayOf(const std::string& bytes)
{
    CVariant variant;
    VARIANT* const target = variant.Put();
    target->parray = ::SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
    if (target->parray == nullptr)
        throw CComError(E_OUTOFMEMORY);
    target->vt = VT_ARRAY | VT_UI1;
    void* data = nullptr;
    ThrowIfFailed(::SafeArrayAccessData(target->parray, &data));
    std::copy(bytes.begin(), bytes.end(), static_cast<char*>(data));
    ThrowIfFailed(::SafeArrayUnaccessData(target->parray));
    return variant;
}

} // namespace

bool LoadXmlFile(IXMLDOMDocument& document, const std::wstring& path, SXmlError& error)
{
    std::string bytes;
    if (!ReadXmlFile(path, XmlLimitsOfThread(), bytes, error))
        return false;
    VARIANT_BOOL loaded = VARIANT_FALSE;
    static_cast<void>(document.load(ArrayOf(bytes).Get(), &loaded));
    return XmlWasLoaded(document, loaded, error);
}

bool LoadXmlText(IXMLDOMDocument& document, wchar_t* text, SXmlError& error)
{
    if (text != nullptr && !ScanXmlText(text, XmlLimitsOfThread(), error))
        return false;
    VARIANT_BOOL loaded = VARIANT_FALSE;
    static_cast<void>(document.loadXML(text, &loaded));
    return XmlWasLoaded(document, loaded, error);
}
