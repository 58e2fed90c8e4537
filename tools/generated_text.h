#pragma once

#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace quel::tools {

/// What the build makes out of a program's declarations and installs.
///
/// version  "quel 0.1.0"
/// what     "--man" or "--completions"
/// which    a command, "" for the page of the whole program; or a shell: bash, zsh, fish
///
/// Empty for what there is none of.
std::string generated_text(const CLI::App& app, const std::string& version, std::string_view what,
                           std::string_view which);

}  // namespace quel::tools
