#pragma once

#include <iosfwd>

#include "tools/mux.h"

namespace CLI {
class App;
}

namespace quel::tools {

/// Declare `quel mux` and `quel demux` and their options, which parsing stores in `job`; it lives
/// as long as `app`.
CLI::App* add_mux_command(CLI::App& app, MuxJob& job);
CLI::App* add_demux_command(CLI::App& app, DemuxJob& job);

/// err  gets "quel: FILE: cause" where something fails
///
/// Return the exit status.
int run_mux_command(const MuxJob& job, std::ostream& err);
int run_demux_command(const DemuxJob& job, std::ostream& err);

}  // namespace quel::tools
