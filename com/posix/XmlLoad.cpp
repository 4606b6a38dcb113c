#include "com/XmlLoad.h"

#include "com/Variant.h"

// The DOM of this system reads and looks by itself.

bool LoadXmlFile(IXMLDOMDocument& document, const std::wstring& path, SXmlError& error)
{
    const CVariant source{std::wstring_view(path)};
    VARIANT_BOOL loaded = VARIANT_FALSE;
    static_cast<void>(document.load(source.Get(), &loaded));
    return XmlWasLoaded(document, loaded, error);
}

bool LoadXmlText(IXMLDOMDocument& document, wchar_t* text, SXmlError& error)
{
    VARIANT_BOOL loaded = VARIANT_FALSE;
    static_cast<void>(document.loadXML(text, &loaded));
    return XmlWasLoaded(document, loaded, error);
}
