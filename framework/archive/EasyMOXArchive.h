#pragma once

#include "com/ComError.h"
#include "framework/Archive.h"

/// An archive as stream operators, for objects that store or load themselves. Borrows the archive. A failed operation
/// throws CComError with its result; a null archive throws E_POINTER.
class CEasyMOXArchive {
public:
    explicit CEasyMOXArchive(IWQ_Archive* archive) : m_pArchive(archive)
    {
        if (archive == nullptr)
            throw CComError(E_POINTER);
    }

    [[nodiscard]] bool IsStoring() const { return m_pArchive->IsStoring(); }
    /// Bytes that are left to read.
    [[nodiscard]] ULONGLONG Remaining() const
    {
        ULONGLONG bytes = 0;
        ThrowIfFailed(m_pArchive->GetRemaining(&bytes));
        return bytes;
    }

    CEasyMOXArchive& operator<<(LONG value) { return Checked(m_pArchive->WriteLong(value)); }
    CEasyMOXArchive& operator<<(const GUID& value) { return Checked(m_pArchive->WriteGuid(&value)); }
    CEasyMOXArchive& operator>>(LONG& value) { return Checked(m_pArchive->ReadLong(&value)); }
    CEasyMOXArchive& operator>>(GUID& value) { return Checked(m_pArchive->ReadGuid(&value)); }

private:
    CEasyMOXArchive& Checked(HRESULT result)
    {
        ThrowIfFailed(result);
        return *this;
    }

    IWQ_Archive* m_pArchive;
};
