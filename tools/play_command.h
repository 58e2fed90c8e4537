#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>

#include "tools/player.h"

namespace CLI {
class App;
}

namespace quel::tools {

struct PlayJob {
  PlaySettings settings;
  std::string loss;  ///< "5%"
  std::uint64_t seed = 1;
};

/// Gives the place for sound of a sampling rate, in Hz.
using OpenSink = std::function<std::unique_ptr<SoundSink>(int rate)>;

/// Declares `quel play` and its options, which parsing stores in `job`; it lives as long as `app`.
CLI::App* add_play_command(CLI::App& app, PlayJob& job);

/// err  gets "quel: FILE: cause" where something fails, and on a terminal the time
///
/// Returns the exit status.
int run_play_command(const PlayJob& job, const OpenSink& open, std::ostream& err);

}  // namespace quel::tools
