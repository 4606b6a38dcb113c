#include "framework/archive/ArchiveBuffer.h"

#include "com/ComError.h"
#include "framework/Archive.h"
#include "platform/Text.h"

#include <bit>
#include <cstring>
#include <utility>

namespace {

void Require(bool condition, HRESULT failure)
{
    if (!condition)
        throw CComError(failure);
}

} // namespace

void CArchiveBuffer::StartStoring()
{
    Stop();
    m_direction = eDirection_Storing;
}

void CArchiveBuffer::StartLoading(std::string bytes)
{
    Stop();
    m_bytes = std::move(bytes);
    m_end = m_bytes.size();
    m_direction = eDirection_Loading;
}

void CArchiveBuffer::Stop()
{
    m_direction = eDirection_None;
    m_bytes = {};
    m_position = 0;
    m_end = 0;
}

void CArchiveBuffer::Write(const void* bytes, std::size_t count)
{
    Require(IsStoring(), E_UNEXPECTED);
    Require(count <= kMaxBytes - m_bytes.size(), E_OUTOFMEMORY);
    m_bytes.append(static_cast<const char*>(bytes), count);
}

void CArchiveBuffer::Read(void* bytes, std::size_t count)
{
    Require(IsLoading(), E_UNEXPECTED);
    Require(count <= Remaining(), kArchiveEnd);
    if (count > 0)
        std::memcpy(bytes, m_bytes.data() + m_position, count);
    m_position += count;
}

void CArchiveBuffer::WriteFloat(float value)
{
    WriteInteger(std::bit_cast<std::uint32_t>(value));
}

void CArchiveBuffer::WriteDouble(double value)
{
    WriteInteger(std::bit_cast<std::uint64_t>(value));
}

void CArchiveBuffer::WriteGuid(const GUID& value)
{
    WriteInteger(static_cast<std::uint32_t>(value.Data1));
    WriteInteger(static_cast<std::uint16_t>(value.Data2));
    WriteInteger(static_cast<std::uint16_t>(value.Data3));
    Write(value.Data4, sizeof(value.Data4));
}

void CArchiveBuffer::WriteText(std::wstring_view text)
{
    const std::string units = platform::ToUtf16Le(text);
    Require(units.size() <= kMaxBytes, E_OUTOFMEMORY);
    WriteInteger(static_cast<std::uint32_t>(units.size() / 2));
    Write(units.data(), units.size());
}

float CArchiveBuffer::ReadFloat()
{
    return std::bit_cast<float>(ReadInteger<std::uint32_t>());
}

double CArchiveBuffer::ReadDouble()
{
    return std::bit_cast<double>(ReadInteger<std::uint64_t>());
}

GUID CArchiveBuffer::ReadGuid()
{
    GUID value = {};
    value.Data1 = ReadInteger<std::uint32_t>();
    value.Data2 = ReadInteger<std::uint16_t>();
    value.Data3 = ReadInteger<std::uint16_t>();
    Read(value.Data4, sizeof(value.Data4));
    return value;
}

std::wstring CArchiveBuffer::ReadText()
{
    const auto units = ReadInteger<std::uint32_t>();
    Require(units <= Remaining() / 2, kArchiveEnd);
    const std::size_t bytes = std::size_t{units} * 2;
    std::wstring text = platform::FromUtf16Le(std::string_view(m_bytes).substr(m_position, bytes));
    m_position += bytes;
    return text;
}

void CArchiveBuffer::PatchULong(std::size_t position, std::uint32_t value)
{
    Require(IsStoring() && position + sizeof(value) <= m_bytes.size(), E_UNEXPECTED);
    for (std::size_t i = 0; i < sizeof(value); ++i)
        m_bytes[position + i] = static_cast<char>(static_cast<unsigned char>(value >> (8 * i)));
}

void CArchiveBuffer::CutTo(std::size_t position)
{
    Require(IsStoring() && position <= m_bytes.size(), E_UNEXPECTED);
    m_bytes.resize(position);
}

void CArchiveBuffer::SeekTo(std::size_t position)
{
    Require(IsLoading() && position <= m_end, E_UNEXPECTED);
    m_position = position;
}

std::size_t CArchiveBuffer::LimitTo(std::size_t count)
{
    Require(IsLoading() && count <= Remaining(), kArchiveEnd);
    return std::exchange(m_end, m_position + count);
}

void CArchiveBuffer::RestoreEnd(std::size_t end)
{
    m_end = end;
}
