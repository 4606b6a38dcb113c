#include "ZEL_Processor/Archive.h"

#include "com/Bstr.h"

#include <limits>

namespace _ar {

namespace {

ULONG ToULong(unsigned long value)
{
    if constexpr (sizeof(unsigned long) > sizeof(ULONG)) {
        if (value > std::numeric_limits<ULONG>::max())
            throw CComError(E_INVALIDARG);
    }
    return static_cast<ULONG>(value);
}

} // namespace

archive::archive() noexcept = default;
archive::archive(IWQ_Archive* object) noexcept : m_pArchive(object) {}
archive::archive(const archive& other) noexcept = default;
archive& archive::operator=(const archive& other) noexcept = default;
archive::~archive() = default;

archive& archive::operator>>(unsigned char& value)
{
    CheckError(m_pArchive->ReadUChar(&value));
    return *this;
}

archive& archive::operator>>(short& value)
{
    CheckError(m_pArchive->ReadShort(&value));
    return *this;
}

archive& archive::operator>>(int& value)
{
    LONG number = 0;
    CheckError(m_pArchive->ReadLong(&number));
    value = number;
    return *this;
}

archive& archive::operator>>(long& value)
{
    LONG number = 0;
    CheckError(m_pArchive->ReadLong(&number));
    value = number;
    return *this;
}

archive& archive::operator>>(unsigned long& value)
{
    ULONG number = 0;
    CheckError(m_pArchive->ReadULong(&number));
    value = number;
    return *this;
}

archive& archive::operator>>(float& value)
{
    CheckError(m_pArchive->ReadFloat(&value));
    return *this;
}

archive& archive::operator>>(double& value)
{
    CheckError(m_pArchive->ReadDouble(&value));
    return *this;
}

archive& archive::operator>>(GUID& value)
{
    CheckError(m_pArchive->ReadGuid(&value));
    return *this;
}

archive& archive::operator>>(CString& value)
{
    CBstr text;
    CheckError(m_pArchive->ReadString(text.Put()));
    value = text.Text();
    return *this;
}

archive& archive::operator>>(_variant_t& value)
{
    CheckError(m_pArchive->ReadVariant(value.Put()));
    return *this;
}

archive& archive::operator>>(long long& value)
{
    LONGLONG number = 0;
    CheckError(m_pArchive->ReadInt64(&number));
    value = number;
    return *this;
}

archive& archive::operator>>(unsigned long long& value)
{
    ULONGLONG number = 0;
    CheckError(m_pArchive->ReadUInt64(&number));
    value = number;
    return *this;
}

archive& archive::operator>>(bool& value)
{
    unsigned char flag = 0;
    *this >> flag;
    value = flag != 0;
    return *this;
}

archive& archive::operator>>(wchar_t** value)
{
    CheckError(m_pArchive->ReadWideString(value));
    return *this;
}

archive& archive::operator<<(unsigned char value)
{
    CheckError(m_pArchive->WriteUChar(value));
    return *this;
}

archive& archive::operator<<(short value)
{
    CheckError(m_pArchive->WriteShort(value));
    return *this;
}

archive& archive::operator<<(int value)
{
    CheckError(m_pArchive->WriteLong(value));
    return *this;
}

archive& archive::operator<<(unsigned long value)
{
    CheckError(m_pArchive->WriteULong(ToULong(value)));
    return *this;
}

archive& archive::operator<<(float value)
{
    CheckError(m_pArchive->WriteFloat(value));
    return *this;
}

archive& archive::operator<<(double value)
{
    CheckError(m_pArchive->WriteDouble(value));
    return *this;
}

archive& archive::operator<<(const GUID& value)
{
    CheckError(m_pArchive->WriteGuid(&value));
    return *this;
}

archive& archive::operator<<(const CString& value)
{
    const CBstr text{std::wstring_view(value)};
    CheckError(m_pArchive->WriteString(text.Get()));
    return *this;
}

archive& archive::operator<<(const _variant_t& value)
{
    CheckError(m_pArchive->WriteVariant(&value.Get()));
    return *this;
}

archive& archive::operator<<(long long value)
{
    CheckError(m_pArchive->WriteInt64(value));
    return *this;
}

archive& archive::operator<<(unsigned long long value)
{
    CheckError(m_pArchive->WriteUInt64(value));
    return *this;
}

archive& archive::operator<<(wchar_t* value)
{
    return *this << static_cast<const wchar_t*>(value);
}

archive& archive::operator<<(const wchar_t* value)
{
    CheckError(m_pArchive->WriteWideString(value));
    return *this;
}

unsigned long archive::Read(void* buffer, unsigned long count)
{
    ULONG read = 0;
    CheckError(m_pArchive->ReadBytes(buffer, ToULong(count), &read));
    return read;
}

void archive::Write(const void* buffer, unsigned long count)
{
    CheckError(m_pArchive->WriteBytes(buffer, ToULong(count)));
}

bool archive::IsLoading() const
{
    return m_pArchive->IsLoading();
}

bool archive::IsStoring() const
{
    return m_pArchive->IsStoring();
}

short archive::Version() const
{
    SHORT version = 0;
    CheckError(m_pArchive->GetVersion(&version));
    return version;
}

void archive::PutVersion(short version)
{
    CheckError(m_pArchive->PutVersion(version));
}

archive::operator IWQ_Archive*() const noexcept
{
    return m_pArchive.Get();
}

archive::operator IUnknown*() const noexcept
{
    return m_pArchive.Get();
}

archive::operator bool() const noexcept
{
    return static_cast<bool>(m_pArchive);
}

IWQ_Archive* archive::operator->() const
{
    return m_pArchive.operator->();
}

bool archive::operator==(int null) const
{
    if (null != 0)
        throw CComError(E_POINTER);
    return !m_pArchive;
}

bool archive::operator!=(int null) const
{
    return !(*this == null);
}

void archive::CheckError(long hr)
{
    ThrowIfFailed(static_cast<HRESULT>(hr));
}

} // namespace _ar
