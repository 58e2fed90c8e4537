#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quel::tools {

/// What a recording says of itself: names as in Ogg comments (TITLE, ARTIST), values UTF-8.
using SoundTags = std::vector<std::pair<std::string, std::string>>;

/// A tag that sound files know.
struct SoundTagKind {
  const char* name;  ///< in comments
  int library;       ///< libsndfile's SF_STR_...
  const char* info;  ///< of the chunk in a WAV file's list INFO, nullptr where it knows none
};
std::span<const SoundTagKind> sound_tag_kinds();

/// Those of `comments` that sound files know, the first of each kind; upper and lower case mean the
/// same.
SoundTags known_tags(const SoundTags& comments);

/// Text as UTF-8: what is no UTF-8 is taken for Latin-1, as older programs write it.
std::string unicode_text(std::string_view text);

/// A WAV file's list of them, "LIST" and all; empty where it knows none of them.
std::vector<std::uint8_t> info_chunk(const SoundTags& tags);

/// The body of a chunk "LIST": appends what it says where it is of the kind INFO.
void read_info(std::span<const std::uint8_t> body, SoundTags& tags);

}  // namespace quel::tools
