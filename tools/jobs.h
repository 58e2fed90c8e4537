#pragma once

#include <iosfwd>
#include <string>

#include "tools/aligned_decoder.h"

namespace quel::tools {

/// Codes an audio file.
struct EncodeJob {
  std::string input;   ///< audio file, any rate, any channels
  std::string output;  ///< coded file
  int flavor = 0;      ///< 0..3
  bool force = false;  ///< replace an existing output
};

/// Throws FileError, then no output is left behind.
void run_encode(const EncodeJob& job);

/// Decodes a coded file to WAV.
struct DecodeJob {
  std::string input;      ///< coded file
  std::string output;     ///< 16-bit mono WAV at the flavor's rate
  bool report = false;    ///< write to `log` how many frames were lost
  DecodeOptions options;  ///< concealment and losses
  bool force = false;     ///< replace an existing output
};

/// Decodes to the source's length, or up to where the coded file is cut; with deferred concealment,
/// which drops the time of long losses, silence fills up the end.
///
/// log  gets lines that start with "quel: "
///
/// Returns whether the coded file was complete; if not, log says so. Throws FileError, then no
/// output is left behind.
bool run_decode(const DecodeJob& job, std::ostream& log);

}  // namespace quel::tools
