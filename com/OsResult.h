#pragma once

#include "com/Com.h"
#include "platform/OsError.h"

/// What a COM method answers for the outcome of an OS call.
inline HRESULT OsResult(platform::eOsError error)
{
    return HRESULT_FROM_WIN32(static_cast<std::uint32_t>(error));
}
