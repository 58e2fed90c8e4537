#pragma once

#include <iosfwd>

#include "tools/jobs.h"

namespace CLI {
class App;
}

namespace quel::tools {

/// Declares `quel decode` and its options, which parsing stores in `job`; it lives as long as
/// `app`.
CLI::App* add_decode_command(CLI::App& app, DecodeJob& job);

/// err  gets messages, "quel: FILE: cause" where something fails
///
/// Returns the exit status.
int run_decode_command(const DecodeJob& job, std::ostream& err);

}  // namespace quel::tools
