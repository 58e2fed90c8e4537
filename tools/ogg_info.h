#pragma once

#include <cstdint>

#include "tools/ogg_reader.h"

namespace quel::tools {

/// What can be said of a coded stream without decoding it.
struct OggInfo {
  OggHead head;
  OggTags tags;
  int rate = 0;                 ///< of the decoded sound, Hz
  int delay = 0;                ///< of the codec, samples
  std::uint64_t samples = 0;    ///< that decoding gives; up to the cut where the end is missing
  double seconds = 0.0;         ///< these
  double net_bit_rate = 0.0;    ///< of the coded units, bit/s
  double gross_bit_rate = 0.0;  ///< of everything read, bit/s; 0 where there are no samples
  OggReport report;
};

/// Reads the rest of a stream, and what lies behind it. Throws FileError.
OggInfo read_info(OggReader& reader);

}  // namespace quel::tools
