#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>

#include "tools/ogg_tags.h"

namespace quel::tools {

/// Puts bare coded units, or what was dumped, into a file.
struct MuxJob {
  std::string input;       ///< units back to back, or the text of `quel dump`; "-" standard input
  std::string output;      ///< coded file
  bool from_dump = false;  ///< the input is a dump, and nothing below but `force` is looked at
  std::optional<int> flavor;             ///< 0..3; there must be one for units
  std::optional<std::uint64_t> samples;  ///< of the source at the flavor's rate; else all there is
  std::uint32_t input_rate = 0;          ///< of the source, Hz; 0 where unknown
  OggTags tags = make_tags_of_foreign_units();
  int packet_ms = 240;
  int page_ms = 2000;
  bool force = false;  ///< replace an existing output
};

/// Throws FileError, then no output is left behind.
void run_mux(const MuxJob& job);

/// Takes the coded units out of a file.
struct DemuxJob {
  std::string input;   ///< coded file, "-" standard input
  std::string output;  ///< its units back to back
  bool force = false;  ///< replace an existing output
};

/// Zeros stand where units are lost, so that time does not shift.
///
/// log  gets a line that starts with "quel: " for each kind of damage, and for further streams
///
/// Returns whether the file was undamaged. Throws FileError, then no output is left behind.
bool run_demux(const DemuxJob& job, std::ostream& log);

}  // namespace quel::tools
