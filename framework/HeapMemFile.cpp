#include "framework/HeapMemFile.h"

#include <algorithm>
#include <new>
#include <stdexcept>

CHeapMemFile::CHeapMemFile(std::size_t maxLength) : m_nMaxLength(maxLength) {}
CHeapMemFile::~CHeapMemFile() = default;

std::size_t CHeapMemFile::GetLength() const
{
    return m_bytes.size();
}

bool CHeapMemFile::SetLength(std::size_t length)
{
    if (length > m_nMaxLength)
        return false;
    try {
        m_bytes.resize(length);
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
    m_nPosition = std::min(m_nPosition, length);
    return true;
}

std::size_t CHeapMemFile::GetPosition() const
{
    return m_nPosition;
}

bool CHeapMemFile::Seek(std::int64_t offset, eSeek from)
{
    std::size_t start = 0;
    if (from == eSeek_Current)
        start = m_nPosition;
    else if (from == eSeek_End)
        start = m_bytes.size();
    // Unsigned, because the negative of the smallest number does not exist.
    const auto distance = static_cast<std::uint64_t>(offset);
    if (offset < 0 ? std::uint64_t{0} - distance > start : distance > m_bytes.size() - start)
        return false;
    m_nPosition = start + static_cast<std::size_t>(distance);
    return true;
}

void CHeapMemFile::SeekToBegin()
{
    m_nPosition = 0;
}

std::size_t CHeapMemFile::Read(std::span<std::byte> buffer)
{
    const std::size_t count = std::min(buffer.size(), m_bytes.size() - m_nPosition);
    std::copy_n(m_bytes.data() + m_nPosition, count, buffer.data());
    m_nPosition += count;
    return count;
}

bool CHeapMemFile::Write(std::span<const std::byte> bytes)
{
    const std::span<std::byte> room = GetWriteBuffer(bytes.size());
    if (room.size() < bytes.size())
        return false;
    std::copy(bytes.begin(), bytes.end(), room.begin());
    return true;
}

std::span<std::byte> CHeapMemFile::GetWriteBuffer(std::size_t count)
{
    if (count > m_nMaxLength - m_nPosition)
        return {};
    const std::size_t end = m_nPosition + count;
    if (end > m_bytes.size() && !SetLength(end))
        return {};
    const auto room = std::span(m_bytes).subspan(m_nPosition, count);
    m_nPosition = end;
    return room;
}

std::span<const std::byte> CHeapMemFile::GetReadBuffer() const
{
    return m_bytes;
}
