#pragma once

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace quel::tools {

/// Shows everything that a coded file holds.
struct DumpJob {
  std::string input;  ///< coded file, "-" standard input
  bool json = false;  ///< JSON in place of text
};

/// Declares `quel dump` and its options, which parsing stores in `job`; it lives as long as `app`.
CLI::App* add_dump_command(CLI::App& app, DumpJob& job);

/// out  gets the dump
/// err  gets "quel: FILE: cause" where something fails, and what is damaged
///
/// Returns the exit status. Damage is no failure.
int run_dump_command(const DumpJob& job, std::ostream& out, std::ostream& err);

}  // namespace quel::tools
