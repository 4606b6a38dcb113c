#pragma once

#include "com/Com.h"
#include "framework/archive/ArchiveBuffer.h"

/// A value with its type in an archive (docs/archives.md). Both throw CComError; DISP_E_BADVARTYPE for arrays,
/// references, interfaces and unknown types.
void WriteArchiveVariant(CArchiveBuffer& buffer, const VARIANT& value);
/// The value is to be empty; it stays so after a failure. The caller clears it.
void ReadArchiveVariant(CArchiveBuffer& buffer, VARIANT& value);
