#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "tools/batch.h"

namespace CLI {
class App;
}

namespace quel::tools {

struct DecodeCommand {
  FileArguments files;
  DecodeSettings settings;
  std::string loss;        ///< "5%"
  std::string loss_burst;  ///< "5%,3"
  std::string loss_file;
  std::uint64_t seed = 1;
  std::string format;  ///< "wav", "flac", "raw"; empty: by extension
  std::string endianness = "little";
  bool no_tags = false;
  bool raw = false;  ///< input of bare coded units
};

/// Declares `quel decode` and its options, which parsing stores in `command`; it lives as long as
/// `app`.
CLI::App* add_decode_command(CLI::App& app, DecodeCommand& command);

/// err  gets messages, "quel: FILE: cause" where something fails
///
/// Returns the exit status.
int run_decode_command(const DecodeCommand& command, std::ostream& err);

}  // namespace quel::tools
