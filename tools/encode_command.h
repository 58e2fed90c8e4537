#pragma once

#include <iosfwd>

#include "tools/jobs.h"

namespace CLI {
class App;
}

namespace quel::tools {

/// Declares `quel encode` and its options, which parsing stores in `job`; it lives as long as
/// `app`.
CLI::App* add_encode_command(CLI::App& app, EncodeJob& job);

/// err  gets "quel: FILE: cause" where something fails
///
/// Returns the exit status.
int run_encode_command(const EncodeJob& job, std::ostream& err);

}  // namespace quel::tools
