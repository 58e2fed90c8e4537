#pragma once

#include <quelcodec/quelcodec.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace quel::tools {

/// First packet of a coded stream. docs/ogg-mapping.md gives its bytes.
struct OggHead {
  int flavor = 0;                ///< QUEL_FLAVOR_...
  std::uint32_t input_rate = 0;  ///< of the source, Hz; 0 where unknown. Informs only
  std::uint16_t pre_skip = 0;    ///< decoded samples ahead of the source's first
  /// What the units mean; this library's where nobody says otherwise.
  std::uint16_t bitstream = static_cast<std::uint16_t>(quel_bitstream());
  /// Units may be missing on purpose. Such a stream's version is 1.1, every other one's 1.0.
  bool unsent = false;
  std::uint8_t version = ogg_plain_version;  ///< major in the high nibble, minor in the low one

  static constexpr std::uint8_t ogg_plain_version = 0x10, ogg_newest_version = 0x11;
};

/// The header of a new stream, pre_skip being the flavor's delay.
OggHead make_head(int flavor, std::uint32_t input_rate);

std::vector<std::uint8_t> pack_head(const OggHead& head);

/// Whether a packet starts as a header packet does, sound or not.
bool looks_like_head(std::span<const std::uint8_t> packet);

/// name    of the file, for messages
/// packet  the first packet
///
/// Throws FileError, with a cause of its own for each field. A header that is sound but for an
/// unknown bitstream is left to check_bitstream, since the comment packet can tell more about it.
OggHead unpack_head(const std::string& name, std::span<const std::uint8_t> packet);

/// Refuses streams whose units mean something that this program does not know: they would be noise.
///
/// encoder  what the comment packet says of the program that wrote the stream; may be empty
///
/// Throws FileError.
void check_bitstream(const std::string& name, const OggHead& head, const std::string& encoder);

}  // namespace quel::tools
