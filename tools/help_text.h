#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace CLI {
class App;
class FormatterBase;
}  // namespace CLI

namespace quel::tools {

/// The text in lines of at most `width` characters, each but the first behind `indent` spaces.
/// Words that are longer stand alone.
std::string wrapped(const std::string& text, std::size_t indent, std::size_t width = 80);

/// What --help prints: each option with its value and what it does, in lines that fit a terminal.
std::shared_ptr<CLI::FormatterBase> help_formatter();

/// What is wrong with a command line that names a command or an option that there is not: the name,
/// and the one that was meant. Empty where it names none.
std::string unknown_name(const CLI::App& app, int argc, const char* const* argv);

}  // namespace quel::tools
