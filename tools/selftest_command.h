#pragma once

#include <iosfwd>

namespace CLI {
class App;
}

namespace quel::tools {

/// Declares `quel selftest`.
CLI::App* add_selftest_command(CLI::App& app);

/// Codes and decodes the built-in signals with every flavor.
///
/// out  gets a line for each digest, and whether it is the project's
///
/// Returns the exit status: 0 where all of them are.
int run_selftest_command(std::ostream& out);

}  // namespace quel::tools
