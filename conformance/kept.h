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
    {"bitstream-2-flavor-0-sound.quel", 0xc66971d9c47a0750},
    {"bitstream-2-flavor-0-indices.quel", 0x36f65368def4688d},
    {"bitstream-2-flavor-1-sound.quel", 0x8ecaa886bbf0040a},
    {"bitstream-2-flavor-1-indices.quel", 0x71006f7018bc122b},
    {"bitstream-2-flavor-2-sound.quel", 0x5eb89b778b419603},
    {"bitstream-2-flavor-2-indices.quel", 0xb2dccee40fd463c8},
    {"bitstream-2-flavor-3-sound.quel", 0x6a3dc7cc40fa0fdd},
    {"bitstream-2-flavor-3-indices.quel", 0x1a4c3d27c8932099},
};

}  // namespace quel::conformance
