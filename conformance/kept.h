#pragma once

#include <cstdint>

namespace quel::conformance {

/// A file of conformance/kept that every version from the one that wrote it on decodes, without
/// losses, to the same sound.
struct KeptFile {
  const char* name;
  std::uint64_t value;  ///< 64-bit FNV-1a of the decoded PCM, low byte first
};

/// scripts/keep writes the lines of a new bitstream number. None that was released ever changes.
inline constexpr KeptFile kept_files[] = {
    {"bitstream-2-flavor-0-sound.quel", 0x44a3cb9e57f8cd09},
    {"bitstream-2-flavor-0-indices.quel", 0xd1d7ac422b9001d9},
    {"bitstream-2-flavor-1-sound.quel", 0x7ad1558003400854},
    {"bitstream-2-flavor-1-indices.quel", 0x78e69e3cdf43eba0},
    {"bitstream-2-flavor-2-sound.quel", 0x363694e0890ffb8d},
    {"bitstream-2-flavor-2-indices.quel", 0xd60ad6f6fa26eebc},
    {"bitstream-2-flavor-3-sound.quel", 0xfadd9992b5d11010},
    {"bitstream-2-flavor-3-indices.quel", 0x7b84ab3fa4105a0c},
};

}  // namespace quel::conformance
