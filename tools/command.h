#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace quel::tools {

/// One of the programs that `quel` is made of.
struct Command {
  CLI::App* app;             ///< as declared to the parser
  std::function<int()> run;  ///< called once the arguments are parsed; returns the exit status
};

/// What every command exits with.
enum ExitStatus : int { exit_done = 0, exit_failed = 1, exit_usage = 2 };

}  // namespace quel::tools
