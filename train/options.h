#pragma once

#include <cstdint>
#include <string>

namespace quel::train {

/// Command line of a trainer: SPEECH_DIR OUT_DIR [--seed N] [--every N].
struct Options {
  std::string speech_dir;
  std::string out_dir;
  std::uint64_t seed = 1;
  int every = 1;      ///< use only every N-th recording
  std::string error;  ///< not empty: what is wrong, to be printed with the usage

  /// The command as the tables' headers tell it, without anybody's folders.
  std::string command(const std::string& program) const;
};

/// `given` holds the defaults.
Options parse_options(int argc, char** argv, Options given);

/// Runs a trainer's work; prints what it throws and returns main's status.
int run_trainer(int argc, char** argv, const Options& defaults, void (*work)(const Options&));

}  // namespace quel::train
