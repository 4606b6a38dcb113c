#pragma once

#include "com/ComPtr.h"
#include "com/ZelCom.h"

/// Makes an in-process object of a class that the component table or the system knows. Throws CComError with the result
/// of CoCreateInstanceZEL when that fails.
template <class Interface>
[[nodiscard]] CComPtr<Interface> CreateInstanceZEL(REFCLSID classId)
{
    CComPtr<Interface> object;
    ThrowIfFailed(CoCreateInstanceZEL(classId, nullptr, CLSCTX_INPROC_SERVER, ComIid<Interface>(), object.PutVoid()));
    return object;
}
