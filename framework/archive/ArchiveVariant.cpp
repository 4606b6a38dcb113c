#include "framework/archive/ArchiveVariant.h"

#include "com/Bstr.h"
#include "com/ComError.h"

#include <string_view>

void WriteArchiveVariant(CArchiveBuffer& buffer, const VARIANT& value)
{
    const auto put = [&](auto number) {
        buffer.WriteInteger(static_cast<std::uint16_t>(value.vt));
        buffer.WriteInteger(number);
    };
    switch (value.vt) {
    case VT_EMPTY:
    case VT_NULL: buffer.WriteInteger(static_cast<std::uint16_t>(value.vt)); return;
    case VT_I1:
    case VT_UI1: put(value.bVal); return;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL: put(value.uiVal); return;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR: put(value.ulVal); return;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_DATE: put(value.ullVal); return;
    case VT_BSTR:
        buffer.WriteInteger(static_cast<std::uint16_t>(value.vt));
        buffer.WriteText(value.bstrVal == nullptr ? std::wstring_view()
                                                  : std::wstring_view(value.bstrVal, SysStringLen(value.bstrVal)));
        return;
    default: throw CComError(DISP_E_BADVARTYPE);
    }
}

void ReadArchiveVariant(CArchiveBuffer& buffer, VARIANT& value)
{
    const auto type = buffer.ReadInteger<std::uint16_t>();
    switch (type) {
    case VT_EMPTY:
    case VT_NULL: break;
    case VT_I1:
    case VT_UI1: value.bVal = buffer.ReadInteger<std::uint8_t>(); break;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL: value.uiVal = buffer.ReadInteger<std::uint16_t>(); break;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR: value.ulVal = buffer.ReadInteger<std::uint32_t>(); break;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_DATE: value.ullVal = buffer.ReadInteger<std::uint64_t>(); break;
    case VT_BSTR: value.bstrVal = CBstr(buffer.ReadText()).Detach(); break;
    default: throw CComError(DISP_E_BADVARTYPE);
    }
    value.vt = type;
}
