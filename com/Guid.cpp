#include "com/Guid.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::size_t kGuidBytes = 16;
/// Where the byte pairs of the text belong in the order of their writing, and where a hyphen stands before them.
constexpr std::array<std::size_t, kGuidBytes> kTextOffset = {1,  3,  5,  7,  10, 12, 15, 17,
                                                             20, 22, 25, 27, 29, 31, 33, 35};
constexpr std::array<std::size_t, 4> kHyphens = {9, 14, 19, 24};
constexpr std::size_t kTextLength = 38;

using CBytes = std::array<std::uint8_t, kGuidBytes>;

/// The bytes as they are written: the three numbers with their highest byte first.
CBytes BytesOf(const GUID& guid)
{
    CBytes bytes{};
    for (std::size_t i = 0; i < 4; ++i)
        bytes[i] = static_cast<std::uint8_t>(guid.Data1 >> (24 - 8 * i));
    for (std::size_t i = 0; i < 2; ++i) {
        bytes[4 + i] = static_cast<std::uint8_t>(guid.Data2 >> (8 - 8 * i));
        bytes[6 + i] = static_cast<std::uint8_t>(guid.Data3 >> (8 - 8 * i));
    }
    std::memcpy(&bytes[8], guid.Data4, sizeof(guid.Data4));
    return bytes;
}

GUID FromBytes(const CBytes& bytes)
{
    GUID guid{};
    guid.Data1 = static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
                 static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
    guid.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
    guid.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
    std::memcpy(guid.Data4, &bytes[8], sizeof(guid.Data4));
    return guid;
}

int DigitOf(wchar_t character)
{
    if (character >= L'0' && character <= L'9')
        return character - L'0';
    if (character >= L'A' && character <= L'F')
        return character - L'A' + 10;
    if (character >= L'a' && character <= L'f')
        return character - L'a' + 10;
    return -1;
}

bool HasFrame(std::wstring_view text)
{
    if (text.size() != kTextLength || text.front() != L'{' || text.back() != L'}')
        return false;
    for (const std::size_t position : kHyphens) {
        if (text[position] != L'-')
            return false;
    }
    return true;
}

} // namespace

std::wstring GuidToText(const GUID& guid)
{
    static constexpr std::wstring_view digits = L"0123456789ABCDEF";
    std::wstring text(kTextLength, L'-');
    text.front() = L'{';
    text.back() = L'}';
    const CBytes bytes = BytesOf(guid);
    for (std::size_t i = 0; i < kGuidBytes; ++i) {
        text[kTextOffset[i]] = digits[bytes[i] >> 4];
        text[kTextOffset[i] + 1] = digits[bytes[i] & 0x0FU];
    }
    return text;
}

bool GuidFromText(std::wstring_view text, GUID& guid)
{
    guid = GUID_NULL;
    if (!HasFrame(text))
        return false;
    CBytes bytes{};
    for (std::size_t i = 0; i < kGuidBytes; ++i) {
        const int high = DigitOf(text[kTextOffset[i]]);
        const int low = DigitOf(text[kTextOffset[i] + 1]);
        if (high < 0 || low < 0)
            return false;
        bytes[i] = static_cast<std::uint8_t>(high << 4 | low);
    }
    guid = FromBytes(bytes);
    return true;
}

bool SGuidLess::operator()(const GUID& left, const GUID& right) const noexcept
{
    return BytesOf(left) < BytesOf(right);
}

std::size_t SGuidHash::operator()(const GUID& guid) const noexcept
{
    // Ids are random or counted up in their first number; mixing both halves serves either kind.
    std::array<std::uint64_t, 2> halves{};
    std::memcpy(halves.data(), &guid, sizeof(guid));
    return static_cast<std::size_t>((halves[0] ^ (halves[1] >> 32 | halves[1] << 32)) * 0x9E3779B97F4A7C15ULL);
}
