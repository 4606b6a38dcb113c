#include "plugins/datastore/SourceId.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

using Digest = std::array<std::uint32_t, 5>;

constexpr std::size_t kBlockBytes = 64;

std::uint32_t BigEndianWord(std::string_view bytes)
{
    std::uint32_t word = 0;
    for (const char part : bytes.substr(0, 4))
        word = word << 8 | static_cast<unsigned char>(part);
    return word;
}

void AppendBigEndian(std::string& bytes, std::uint64_t value, unsigned count)
{
    for (unsigned shift = count * 8; shift != 0; shift -= 8)
        bytes += static_cast<char>(static_cast<unsigned char>(value >> (shift - 8)));
}

void AddBlock(Digest& digest, std::string_view block)
{
    std::array<std::uint32_t, 80> words = {};
    for (std::size_t index = 0; index < 16; ++index)
        words[index] = BigEndianWord(block.substr(index * 4));
    for (std::size_t index = 16; index < words.size(); ++index)
        words[index] = std::rotl(words[index - 3] ^ words[index - 8] ^ words[index - 14] ^ words[index - 16], 1);

    auto [a, b, c, d, e] = digest;
    for (std::size_t index = 0; index < words.size(); ++index) {
        const std::uint32_t mixed = index < 20   ? ((b & c) | (~b & d)) + 0x5A827999U
                                    : index < 40 ? (b ^ c ^ d) + 0x6ED9EBA1U
                                    : index < 60 ? ((b & c) | (b & d) | (c & d)) + 0x8F1BBCDCU
                                                 : (b ^ c ^ d) + 0xCA62C1D6U;
        const std::uint32_t next = std::rotl(a, 5) + mixed + e + words[index];
        e = d;
        d = c;
        c = std::rotl(b, 30);
        b = a;
        a = next;
    }
    digest = {digest[0] + a, digest[1] + b, digest[2] + c, digest[3] + d, digest[4] + e};
}

/// SHA-1, which version 5 is made of. Nothing depends on its being hard to forge.
Digest Sha1(std::string bytes)
{
    const std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
    bytes += '\x80';
    while (bytes.size() % kBlockBytes != kBlockBytes - 8)
        bytes += '\0';
    AppendBigEndian(bytes, bits, 8);
    Digest digest = {0x67452301U, 0xEFCDAB89U, 0x98BADCFEU, 0x10325476U, 0xC3D2E1F0U};
    for (std::size_t start = 0; start < bytes.size(); start += kBlockBytes)
        AddBlock(digest, std::string_view(bytes).substr(start, kBlockBytes));
    return digest;
}

} // namespace

GUID NameBasedId(const GUID& space, std::string_view name)
{
    std::string bytes;
    AppendBigEndian(bytes, space.Data1, 4);
    AppendBigEndian(bytes, space.Data2, 2);
    AppendBigEndian(bytes, space.Data3, 2);
    for (const unsigned char part : space.Data4)
        bytes += static_cast<char>(part);
    const Digest digest = Sha1(bytes.append(name));

    GUID id = {};
    id.Data1 = digest[0];
    id.Data2 = static_cast<std::uint16_t>(digest[1] >> 16);
    id.Data3 = static_cast<std::uint16_t>((digest[1] & 0x0FFFU) | 0x5000U); // version 5
    for (unsigned index = 0; index < 8; ++index)
        id.Data4[index] = static_cast<unsigned char>(digest[2 + index / 4] >> (24 - 8 * (index % 4)));
    id.Data4[0] = static_cast<unsigned char>((id.Data4[0] & 0x3FU) | 0x80U); // the variant of RFC 4122
    return id;
}

const GUID& TableIdNamespace()
{
    static constexpr GUID kSpace = {0x5C1B8A52, 0x0F4E, 0x4E0B, {0x9D, 0x7C, 0x3B, 0x6A, 0x1E, 0x9F, 0x2C, 0x48}};
    return kSpace;
}

GUID TableId(std::string_view source, std::string_view table)
{
    return NameBasedId(TableIdNamespace(), std::string(source).append("/").append(table));
}
