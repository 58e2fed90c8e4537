#pragma once

#include <string>

namespace CLI {
class App;
}

namespace quel::tools {

/// Manual pages as roff with the man macros. Names, options and their descriptions are taken from
/// what the parser was told, so that pages, completions and --help never differ; man_text.h has the
/// rest. The pages bear the version in place of a date: two builds of one source are the same.

/// The page of a program with its commands, each in a few words.
///
/// version  "quel 0.1.0"
std::string man_page(const CLI::App& app, const std::string& version);

/// The page of one of its commands, named "quel-encode".
std::string man_page(const CLI::App& app, const CLI::App& command, const std::string& version);

}  // namespace quel::tools
