#pragma once

#include "ZEL_Processor/Archive.h"

/// Bytes that an archive has left to read: whoever reads a count compares it with them before making room. Throws
/// CComError.
inline ULONGLONG BytesLeft(const _ar::archive& archive)
{
    ULONGLONG bytes = 0;
    ThrowIfFailed(archive->GetRemaining(&bytes));
    return bytes;
}
