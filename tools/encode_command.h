#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "tools/batch.h"

namespace CLI {
class App;
}

namespace quel::tools {

struct EncodeCommand {
  FileArguments files;
  EncodeSettings settings;
  std::string endianness = "little";
  std::string format;  ///< "quel", "units"; empty: by --raw
  bool no_tags = false;
  std::string channel;  ///< "2", "each"; empty: the mean of all
};

/// Declares `quel encode` and its options, which parsing stores in `command`; it lives as long as
/// `app`.
CLI::App* add_encode_command(CLI::App& app, EncodeCommand& command);

/// err  gets "quel: FILE: cause" where something fails
///
/// Returns the exit status.
int run_encode_command(const EncodeCommand& command, std::ostream& err);

}  // namespace quel::tools
