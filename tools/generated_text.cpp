#include "tools/generated_text.h"

#include <CLI/CLI.hpp>

#include "tools/completion.h"
#include "tools/declared.h"
#include "tools/man.h"

namespace quel::tools {

std::string generated_text(const CLI::App& app, const std::string& version, std::string_view what,
                           std::string_view which) {
  if (what == "--man") {
    if (which.empty()) return man_page(app, version);
    for (const CLI::App* command : declared_commands(app)) {
      if (command->get_name() == which) return man_page(app, *command, version);
    }
  }
  if (what == "--completions") {
    if (which == "bash") return bash_completion(app);
    if (which == "zsh") return zsh_completion(app);
    if (which == "fish") return fish_completion(app);
  }
  return "";
}

}  // namespace quel::tools
