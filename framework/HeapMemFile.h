#pragma once

#include "platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// A file in memory: bytes, a length and a position. One thread at a time.
class ZEL_FRAMEWORK_API CHeapMemFile {
public:
    enum eSeek { eSeek_Begin, eSeek_Current, eSeek_End };

    /// maxLength: what would make the file longer than this is refused.
    explicit CHeapMemFile(std::size_t maxLength = std::size_t{1} << 30);
    ~CHeapMemFile();
    CHeapMemFile(const CHeapMemFile&) = delete;
    CHeapMemFile& operator=(const CHeapMemFile&) = delete;

    [[nodiscard]] std::size_t GetLength() const;
    /// New bytes are zero; a position behind the new end moves there. False, with nothing changed, beyond the greatest
    /// length or without memory.
    bool SetLength(std::size_t length);

    [[nodiscard]] std::size_t GetPosition() const;
    /// False, with the position as it was, when the place is before the start or behind the end.
    bool Seek(std::int64_t offset, eSeek from);
    void SeekToBegin();

    /// Reads at the position and moves it; gives how many bytes there were.
    std::size_t Read(std::span<std::byte> buffer);
    /// Writes all bytes at the position and moves it, growing the file; false, with nothing written, as for SetLength.
    bool Write(std::span<const std::byte> bytes);

    /// Room for count bytes at the position, for a writer that fills it by itself: grows the file and moves the
    /// position behind the room, as a write does. Valid until the next call that changes the file; empty when there is
    /// no room.
    [[nodiscard]] std::span<std::byte> GetWriteBuffer(std::size_t count);
    /// All bytes of the file, wherever the position is. Valid until the next call that changes the file.
    [[nodiscard]] std::span<const std::byte> GetReadBuffer() const;

private:
    const std::size_t m_nMaxLength;
    std::vector<std::byte> m_bytes;
    std::size_t m_nPosition = 0;
};
