#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "tools/ogg_info.h"

namespace CLI {
class App;
}

namespace quel::tools {

/// Tells what coded files are, without decoding them.
struct InfoJob {
  std::vector<std::string> inputs;  ///< coded files, also cut ones; "-" standard input
  bool json = false;                ///< JSON in place of text
};

/// Declares `quel info` and its options, which parsing stores in `job`; it lives as long as `app`.
CLI::App* add_info_command(CLI::App& app, InfoJob& job);

/// What a reader wants to know of a file, as text or as a JSON object.
std::string info_text(const std::string& name, const OggInfo& info);
std::string info_json(const std::string& name, const OggInfo& info);

/// out  gets what is told; a JSON list with --json
/// err  gets "quel: FILE: cause" for every file that cannot be read; the others are told of
///
/// Returns the exit status. Damage is told of and is no failure.
int run_info_command(const InfoJob& job, std::ostream& out, std::ostream& err);

}  // namespace quel::tools
