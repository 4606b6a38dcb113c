#pragma once

#include "com/Com.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

/// The bytes of an archive and the position in them: values as little-endian bytes, whatever the machine. Operations
/// throw CComError: E_UNEXPECTED for the wrong direction, kArchiveEnd when there is less than is to be read,
/// E_OUTOFMEMORY when the archive would become longer than kMaxBytes.
class CArchiveBuffer {
public:
    /// Far more than any exchange holds; a longer file is a mistake and would only fill the memory.
    static constexpr std::size_t kMaxBytes = std::size_t{256} << 20;

    void StartStoring();
    void StartLoading(std::string bytes);
    /// Neither loading nor storing any more; the bytes are gone.
    void Stop();

    [[nodiscard]] bool IsLoading() const { return m_direction == eDirection_Loading; }
    [[nodiscard]] bool IsStoring() const { return m_direction == eDirection_Storing; }
    [[nodiscard]] const std::string& Bytes() const { return m_bytes; }
    [[nodiscard]] std::size_t Position() const { return IsStoring() ? m_bytes.size() : m_position; }
    [[nodiscard]] std::size_t Remaining() const { return IsLoading() ? m_end - m_position : 0; }

    void Write(const void* bytes, std::size_t count);
    void Read(void* bytes, std::size_t count);

    template <class Integer>
    void WriteInteger(Integer value)
    {
        unsigned char bytes[sizeof(Integer)];
        const auto bits = static_cast<std::make_unsigned_t<Integer>>(value);
        for (std::size_t i = 0; i < sizeof(Integer); ++i)
            bytes[i] = static_cast<unsigned char>(static_cast<std::uint64_t>(bits) >> (8 * i));
        Write(bytes, sizeof(Integer));
    }
    template <class Integer>
    [[nodiscard]] Integer ReadInteger()
    {
        unsigned char bytes[sizeof(Integer)];
        Read(bytes, sizeof(Integer));
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < sizeof(Integer); ++i)
            bits |= std::uint64_t{bytes[i]} << (8 * i);
        return static_cast<Integer>(bits);
    }

    void WriteFloat(float value);
    void WriteDouble(double value);
    void WriteGuid(const GUID& value);
    void WriteText(std::wstring_view text);
    [[nodiscard]] float ReadFloat();
    [[nodiscard]] double ReadDouble();
    [[nodiscard]] GUID ReadGuid();
    [[nodiscard]] std::wstring ReadText();

    // For records that carry their length.

    /// Overwrites four bytes that were written before.
    void PatchULong(std::size_t position, std::uint32_t value);
    /// Takes back what was stored behind a position.
    void CutTo(std::size_t position);
    /// Moves back or forth while loading.
    void SeekTo(std::size_t position);
    /// Makes the next count bytes the last that can be read; gives the end that was in force, for RestoreEnd.
    [[nodiscard]] std::size_t LimitTo(std::size_t count);
    void RestoreEnd(std::size_t end);

private:
    enum eDirection { eDirection_None, eDirection_Loading, eDirection_Storing };

    eDirection m_direction = eDirection_None;
    std::string m_bytes;
    std::size_t m_position = 0; ///< while loading
    std::size_t m_end = 0;      ///< while loading
};
