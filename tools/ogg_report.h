#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quel::tools {

/// What a reader found in a coded stream on the way so far.
struct OggReport {
  std::uint64_t units = 0;            ///< received
  std::uint64_t unsent_units = 0;     ///< left out on purpose
  std::uint64_t lost_units = 0;       ///< in holes between received ones
  std::uint64_t holes = 0;            ///< runs of lost units
  std::uint64_t damaged_pages = 0;    ///< whose checksum is wrong or which are cut short
  std::uint64_t skipped_bytes = 0;    ///< outside sound pages
  std::uint64_t misplaced_pages = 0;  ///< repeated, out of order, or with an impossible position
  std::uint64_t foreign_pages = 0;    ///< of other streams in the same file
  std::uint64_t further_streams = 0;  ///< coded streams beside or after the one that is read
  std::uint64_t bytes = 0;            ///< read so far, everything counted
  bool complete = false;              ///< the stream's last page came
  std::string tags_error;             ///< why there are no tags; empty where they are sound

  /// Whether anything is missing or wrong; foreign and further streams are neither.
  bool damaged() const;
};

/// What is wrong with the stream, a note for each kind: units, pages and bytes, comments, a missing
/// end. None where it is not damaged.
///
/// cut  what to say where the end is missing
std::vector<std::string> damage_notes(const OggReport& report,
                                      const std::string& cut = "cut short: the end is missing");

/// What a user should know who gets the stream's content: the damage, and streams that were not
/// looked at.
std::vector<std::string> content_notes(const OggReport& report,
                                       const std::string& cut = "cut short: the end is missing");

}  // namespace quel::tools
