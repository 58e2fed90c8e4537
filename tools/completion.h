#pragma once

#include <string>

namespace CLI {
class App;
}

namespace quel::tools {

/// Completions of a program's commands, options and their values, from what the parser was told.
/// Files are offered where a value or an argument is one; elsewhere nothing is.
std::string bash_completion(const CLI::App& app);
std::string zsh_completion(const CLI::App& app);
std::string fish_completion(const CLI::App& app);

}  // namespace quel::tools
