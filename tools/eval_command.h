#pragma once

#include <iosfwd>
#include <string>

#include "tools/eval_report.h"

namespace CLI {
class App;
}

namespace quel::tools {

/// Measures the codec on one recording.
struct EvalJob {
  EvalSettings settings;
  std::string json;  ///< file for the figures, "-" for `out` in place of the table; may be empty
  std::string reference;  ///< with `decoded`: compared with each other in place of the codec's work
  std::string decoded;
  std::string html;    ///< file for the page; may be empty
  bool force = false;  ///< replace existing outputs
  bool quiet = false;  ///< no progress
};

/// Declares `quel eval` and its options, which parsing stores in `job`; it lives as long as `app`.
CLI::App* add_eval_command(CLI::App& app, EvalJob& job);

/// Writes the table to `out` and what else the job asks for.
///
/// out  data
/// err  gets "quel: FILE: cause" where something fails, and no output file is then left behind;
///      also where the input is cut short, and what there is was measured
///
/// Returns the exit status: 0, or 1 for either.
int run_eval(const EvalJob& job, std::ostream& out, std::ostream& err);

}  // namespace quel::tools
