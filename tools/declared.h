#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace quel::tools {

/// What a program's parser was told, as manual pages and completions need it. Hidden options and
/// commands (those of the group "") stay out.

std::vector<const CLI::App*> declared_commands(const CLI::App& app);
std::vector<const CLI::Option*> declared_options(const CLI::App& app);
std::vector<const CLI::Option*> declared_positionals(const CLI::App& app);

bool takes_value(const CLI::Option& option);
/// Whether it may be given more than once.
bool repeats(const CLI::Option& option);
/// "-f", "--force".
std::vector<std::string> option_names(const CLI::Option& option);
/// What --help shows for the value, such as FILE or little|big; empty for a flag.
std::string value_text(const CLI::Option& option);
/// The words that the value's text lists, such as little and big; words in capitals and ranges
/// stand for something else, and a range of digits for each of them.
std::vector<std::string> fixed_values(const CLI::Option& option);

std::string joined(const std::vector<std::string>& words, const std::string& separator);

}  // namespace quel::tools
