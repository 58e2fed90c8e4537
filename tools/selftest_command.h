#pragma once

#include <iosfwd>
#include <vector>

#include "conformance/conformance.h"

namespace CLI {
class App;
}

namespace quel::tools {

/// Declares `quel selftest`.
CLI::App* add_selftest_command(CLI::App& app);

/// Compares digests with the project's, of which none may be missing.
///
/// out  gets a line for each digest, and whether it is the project's
///
/// Returns the exit status: 0 where all of them are.
int tell_digests(const std::vector<conformance::Digest>& digests, std::ostream& out);

/// Codes and decodes the built-in signals with every flavor.
///
/// As tell_digests.
int run_selftest_command(std::ostream& out);

}  // namespace quel::tools
