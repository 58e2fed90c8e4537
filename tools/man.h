#pragma once

#include <string>

namespace CLI {
class App;
}

namespace quel::tools {

/// The manual page of a program and its commands, as roff with the man macros. Everything is taken
/// from what the parser was told, so that page, completion and --help never differ.
///
/// app      with its commands and their options
/// version  "quel 0.1.0"
std::string man_page(const CLI::App& app, const std::string& version);

/// Completions of the program's commands, options and their fixed values, for bash.
std::string bash_completion(const CLI::App& app);

}  // namespace quel::tools
