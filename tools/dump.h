#pragma once

#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "tools/ogg_head.h"
#include "tools/ogg_report.h"
#include "tools/ogg_tags.h"

namespace quel::tools {

/// What a file has around its units.
struct FileFrame {
  OggHead head;
  OggTags tags;
  std::uint64_t samples = 0;       ///< of the source, at the flavor's rate
  std::uint32_t serial = 0;        ///< of the stream
  std::uint64_t packet_units = 1;  ///< units in a full packet
  std::uint64_t page_packets = 1;  ///< packets on a full page
};

/// Writes everything that a coded file holds: what is around its frames, and each frame's indices
/// with what they stand for. docs/dump.md gives the format.
///
/// file  the whole file
/// name  of the file, for messages
/// json  JSON in place of text, which parse_dump reads
///
/// Returns what was found in the file. Throws FileError.
OggReport write_dump(std::span<const std::uint8_t> file, const std::string& name, bool json,
                     std::ostream& out);

/// What a dump holds, values that follow from the indices apart.
struct DumpedFile {
  FileFrame frame;
  std::vector<std::vector<std::uint8_t>> units;
};

/// Reads what write_dump wrote as text.
///
/// name  of the dump, for messages
///
/// Throws FileError, which says in what line something is wrong, and where units were lost: there
/// is nothing to put in their place.
DumpedFile parse_dump(std::istream& in, const std::string& name);

}  // namespace quel::tools
