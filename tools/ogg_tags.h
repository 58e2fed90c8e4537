#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quel::tools {

/// Longest packet that fits into one page.
inline constexpr std::size_t ogg_max_packet = 255 * 255 - 1;

/// Second packet of a coded stream: who wrote it, and comments. docs/ogg-mapping.md gives its
/// bytes.
struct OggTags {
  std::string encoder;  ///< UTF-8, such as "quelcodec 0.2.0"
  /// Names (ASCII 0x20..0x7d without '=', at least one character; upper and lower case mean the
  /// same) and values (UTF-8), in the order given; a name may come more than once.
  std::vector<std::pair<std::string, std::string>> comments;
};

/// The comment that tells the encoder's behaviour number.
inline constexpr std::string_view behaviour_comment = "QUEL_BEHAVIOUR";

/// What a file of this library's units has: the encoder string, and the behaviour as a comment.
OggTags make_tags();

/// The same for units that came from elsewhere, whose encoder's behaviour nobody knows.
OggTags make_tags_of_foreign_units();

/// Whether a comment of this name tells the behaviour, whatever its case.
bool names_behaviour(std::string_view name);

/// The encoder's behaviour: what the first comment of that name says, where it is a decimal number
/// from 1 to 65535. It informs only.
std::optional<int> behaviour_of(const OggTags& tags);

/// Takes "NAME=value". Throws std::invalid_argument, saying what is wrong with it.
void add_comment(OggTags& tags, const std::string& comment);

/// Throws std::invalid_argument where a text is not as OggTags says or the packet would be longer
/// than ogg_max_packet.
std::vector<std::uint8_t> pack_tags(const OggTags& tags);

/// Whether a packet starts as a comment packet does, sound or not.
bool looks_like_tags(std::span<const std::uint8_t> packet);

/// Throws std::invalid_argument, with a cause of its own for each field. Allocates no more than a
/// small multiple of the packet, whatever its lengths claim.
OggTags unpack_tags(std::span<const std::uint8_t> packet);

}  // namespace quel::tools
