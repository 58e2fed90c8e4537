#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/batch.h"
#include "tools/ogg_decoder.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace quel::tools {

/// Declares inputs, outputs and what goes for many of them.
///
/// inputs   what an input may be, for the help
/// outputs  likewise
void add_file_arguments(CLI::App& command, FileArguments& arguments, const std::string& inputs,
                        const std::string& outputs);

/// Throws a parse error where the arguments do not go together.
void check_file_arguments(const FileArguments& arguments);

/// Makes the option take flavors by name, rate or number: "6k5", "6.5" or "0".
CLI::Option* take_flavors(CLI::Option* option);

/// --flavor for one of them.
CLI::Option* add_flavor_option(CLI::App& command, std::optional<int>& flavor,
                               const std::string& text);

CLI::Option* add_gain_option(CLI::App& command, double& gain_db);

/// "5" and "5%" as 5; throws a parse error for what is not 0 to 100.
double parse_percentage(const std::string& option, const std::string& text);

CLI::Option* add_seed_option(CLI::App& command, std::uint64_t& seed);

/// Makes the option take seconds, 0 to 1e9.
CLI::Option* take_seconds(CLI::Option* option);

/// --conceal.
CLI::Option* add_concealment_option(CLI::App& command, OggConcealment& concealment);

/// "immediate", "deferred" or "none", as --conceal takes them.
std::string concealment_name(OggConcealment concealment);

}  // namespace quel::tools
