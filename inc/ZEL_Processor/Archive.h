#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/ComPtr.h"
#include "com/Variant.h"
#include "framework/Archive.h"

#include <string>

namespace _ar { // NOLINT(bugprone-reserved-identifier): the name is part of the public surface

using _variant_t = CVariant; // NOLINT(bugprone-reserved-identifier)

/// An archive as typed stream operators, one value each. Holds a reference; null is allowed. A null archive throws
/// CComError (E_POINTER) from every operation but the conversions and comparisons, a failed operation throws CComError
/// with its result. Serialisation code needs no checks between values: a failure ends the whole read or write. One
/// thread at a time.
///
/// Numbers are written with the width that they have on Windows: int, long and unsigned long have 32 bits. An unsigned
/// long that needs more is refused with E_INVALIDARG; numbers of 64 bits are long long and unsigned long long.
class ZEL_API archive {
public:
    archive() noexcept;
    archive(IWQ_Archive* object) noexcept;
    archive(const archive& other) noexcept;
    archive& operator=(const archive& other) noexcept;
    ~archive();

    archive& operator>>(unsigned char& value);
    archive& operator>>(short& value);
    archive& operator>>(int& value);
    archive& operator>>(long& value);
    archive& operator>>(unsigned long& value);
    archive& operator>>(float& value);
    archive& operator>>(double& value);
    archive& operator>>(GUID& value);
    archive& operator>>(CString& value);
    archive& operator>>(_variant_t& value);
    archive& operator>>(long long& value);
    archive& operator>>(unsigned long long& value);
    /// One unsigned char; everything but 0 is true. There is no writer: a flag is written as unsigned char.
    archive& operator>>(bool& value);
    /// The caller frees the text with CoTaskMemFree.
    archive& operator>>(wchar_t** value);

    archive& operator<<(unsigned char value);
    archive& operator<<(short value);
    archive& operator<<(int value);
    archive& operator<<(unsigned long value);
    archive& operator<<(float value);
    archive& operator<<(double value);
    archive& operator<<(const GUID& value);
    archive& operator<<(const CString& value);
    archive& operator<<(const _variant_t& value);
    archive& operator<<(long long value);
    archive& operator<<(unsigned long long value);
    archive& operator<<(wchar_t* value);
    archive& operator<<(const wchar_t* value);
    /// Without this a bool would silently become an int.
    archive& operator<<(bool value) = delete;

    /// Gives how many bytes there were, at most count.
    unsigned long Read(void* buffer, unsigned long count);
    void Write(const void* buffer, unsigned long count);
    [[nodiscard]] bool IsLoading() const;
    [[nodiscard]] bool IsStoring() const;
    [[nodiscard]] short Version() const;
    void PutVersion(short version);

    /// Not an added reference.
    operator IWQ_Archive*() const noexcept;
    operator IUnknown*() const noexcept;
    explicit operator bool() const noexcept;
    IWQ_Archive* operator->() const;

    /// Comparison with null: the argument must be 0, anything else throws CComError (E_POINTER).
    [[nodiscard]] bool operator==(int null) const;
    [[nodiscard]] bool operator!=(int null) const;

    /// Throws CComError for a negative result.
    static void CheckError(long hr);

private:
    CComPtr<IWQ_Archive> m_pArchive;
};

} // namespace _ar
