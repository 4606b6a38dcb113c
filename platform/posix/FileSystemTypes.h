#pragma once

#include <cstdint>

/// What statfs calls file systems, as linux/magic.h has it and others have it in their sources: the numbers are part of
/// the kernel's interface.
namespace platform::posix {

constexpr std::uint32_t kNfs = 0x00006969;
constexpr std::uint32_t kSmb = 0x0000517B;
constexpr std::uint32_t kCifs = 0xFF534D42;
constexpr std::uint32_t kSmb2 = 0xFE534D42;
constexpr std::uint32_t k9p = 0x01021997;
constexpr std::uint32_t kFuse = 0x65735546; ///< virtiofs, too
constexpr std::uint32_t kCeph = 0x00C36400;
constexpr std::uint32_t kOpenAfs = 0x5346414F;
constexpr std::uint32_t kAfs = 0x6B414653;
constexpr std::uint32_t kCoda = 0x73757245;
constexpr std::uint32_t kGfs2 = 0x01161970;
constexpr std::uint32_t kOcfs2 = 0x7461636F;
constexpr std::uint32_t kLustre = 0x0BD00BD0;
constexpr std::uint32_t kVirtualBox = 0x786F4256;

} // namespace platform::posix
