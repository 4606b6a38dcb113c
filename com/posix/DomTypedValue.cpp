#include "com/posix/DomTypedValue.h"

#include "com/posix/DomText.h"

#include <charconv>
#include <new>
#include <string_view>
#include <system_error>

namespace com_posix {
namespace {

constexpr const char* kDataTypeNamespace = "urn:schemas-microsoft-com:datatypes";

bool IsDataTypeAttribute(const xmlNode* attribute)
{
    if (ViewOf(attribute->name) == "dt" && attribute->ns != nullptr)
        return ViewOf(attribute->ns->href) == kDataTypeNamespace;
    return attribute->ns == nullptr && ViewOf(attribute->name) == "dt:dt"; // the prefix was never declared
}

std::string_view Trimmed(std::string_view text)
{
    while (!text.empty() && IsXmlSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsXmlSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

template <class Number>
HRESULT ParseNumber(std::string_view text, Number& number)
{
    text = Trimmed(text);
    if (text.size() > 1 && text.front() == '+' && text[1] != '-')
        text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc::result_out_of_range)
        return DISP_E_OVERFLOW;
    return error == std::errc() && end == text.data() + text.size() ? S_OK : DISP_E_TYPEMISMATCH;
}

HRESULT ParseBoolean(std::string_view text, VARIANT_BOOL& value)
{
    text = Trimmed(text);
    if (text != "0" && text != "1")
        return DISP_E_TYPEMISMATCH;
    value = text == "1" ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT WithType(HRESULT converted, VARTYPE type, VARIANT& value)
{
    if (converted == S_OK)
        value.vt = type;
    return converted;
}

} // namespace

std::string DataTypeOf(const xmlNode* element)
{
    for (const xmlAttr* attribute = element->properties; attribute != nullptr; attribute = attribute->next) {
        const auto* node = reinterpret_cast<const xmlNode*>(attribute);
        if (IsDataTypeAttribute(node))
            return ValueOf(node);
    }
    return {};
}

HRESULT SetDataType(CDomTree& tree, xmlNode* element, const std::string& type)
{
    if (type != "string" && type != "i4" && type != "int" && type != "r8" && type != "boolean")
        return E_FAIL;
    for (xmlAttr* attribute = element->properties; attribute != nullptr; attribute = attribute->next) {
        auto* node = reinterpret_cast<xmlNode*>(attribute);
        if (IsDataTypeAttribute(node)) {
            tree.SetText(node, type);
            return S_OK;
        }
    }
    tree.NoteChange();
    xmlNs* space = xmlSearchNsByHref(tree.Document(), element, XmlChars(kDataTypeNamespace));
    if (space == nullptr || space->prefix == nullptr)
        space = xmlNewNs(element, XmlChars(kDataTypeNamespace), XmlChars("dt"));
    if (space == nullptr)
        return E_FAIL; // the prefix means something else here
    if (xmlSetNsProp(element, space, XmlChars("dt"), XmlChars(type.c_str())) == nullptr)
        throw std::bad_alloc();
    return S_OK;
}

HRESULT ConvertTypedValue(const std::string& type, const std::string& text, VARIANT& value)
{
    if (type == "i4" || type == "int")
        return WithType(ParseNumber(text, value.lVal), VT_I4, value);
    if (type == "r8")
        return WithType(ParseNumber(text, value.dblVal), VT_R8, value);
    if (type == "boolean")
        return WithType(ParseBoolean(text, value.boolVal), VT_BOOL, value);
    return S_FALSE;
}

} // namespace com_posix
