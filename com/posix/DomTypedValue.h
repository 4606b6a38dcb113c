#pragma once

#include "com/posix/DomTree.h"

#include <string>

namespace com_posix {

/// The data type that an element carries in its "dt" attribute; empty when it has none.
[[nodiscard]] std::string DataTypeOf(const xmlNode* element);
/// Gives an element a data type: "string", "i4", "int", "r8", "boolean". E_FAIL for any other.
[[nodiscard]] HRESULT SetDataType(CDomTree& tree, xmlNode* element, const std::string& type);

/// The text as a value of the type; DISP_E_TYPEMISMATCH or DISP_E_OVERFLOW when it is none. S_FALSE for "string", no
/// type and a type that is not converted here: the text is the value then.
[[nodiscard]] HRESULT ConvertTypedValue(const std::string& type, const std::string& text, VARIANT& value);

} // namespace com_posix
