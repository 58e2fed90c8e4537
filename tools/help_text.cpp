#include "tools/help_text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <string_view>
#include <vector>

#include "tools/declared.h"
#include "tools/nearest.h"

namespace quel::tools {
namespace {

constexpr std::size_t description_column = 26;

class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option(const CLI::Option* option, bool positional) const override {
    std::string line =
        "  " + (positional ? option->get_name(true) : joined(option_names(*option), ","));
    if (takes_value(*option)) line += " " + value_text(*option);
    const bool room = line.size() + 2 <= description_column;
    line += room ? std::string(description_column - line.size(), ' ')
                 : "\n" + std::string(description_column, ' ');
    return line + wrapped(option->get_description(), description_column) + "\n";
  }

  std::string make_subcommand(const CLI::App* command) const override {
    std::string line = "  " + command->get_name();
    line += std::string(description_column - std::min(description_column, line.size()), ' ');
    return line + wrapped(command->get_description(), description_column) + "\n";
  }

  std::string make_footer(const CLI::App* app) const override {
    const std::string footer = app->get_footer();
    return footer.empty() ? "" : "\n" + wrapped(footer, 0) + "\n";
  }
};

std::string meant(const std::string& typed, const std::vector<std::string>& words) {
  const std::string near = nearest(typed, words);
  return near.empty() ? "" : "; did you mean " + near + "?";
}

}  // namespace

std::string wrapped(const std::string& text, std::size_t indent, std::size_t width) {
  std::istringstream words(text);
  std::string out;
  std::size_t column = indent;
  for (std::string word; words >> word;) {
    if (out.empty()) {
      column += word.size();
    } else if (column + 1 + word.size() > width) {
      out += "\n" + std::string(indent, ' ');
      column = indent + word.size();
    } else {
      out += ' ';
      column += 1 + word.size();
    }
    out += word;
  }
  return out;
}

std::shared_ptr<CLI::FormatterBase> help_formatter() {
  return std::make_shared<HelpFormatter>();
}

std::string unknown_name(const CLI::App& app, int argc, const char* const* argv) {
  if (argc < 2) return "";
  const std::string first = argv[1];
  std::vector<std::string> commands;
  const CLI::App* command = first.starts_with("-") ? &app : nullptr;
  for (const CLI::App* each : declared_commands(app)) {
    commands.push_back(each->get_name());
    if (first == each->get_name()) command = each;
  }
  if (command == nullptr) {
    const std::string near = meant(first, commands);
    return first + " is no command" +
           (near.empty() ? "; the commands are " + joined(commands, ", ") : near);
  }
  std::vector<std::string> names = {"--help"};
  for (const CLI::Option* option : declared_options(*command)) {
    for (const std::string& name : option_names(*option)) {
      if (name.starts_with("--")) names.push_back(name);
    }
  }
  for (int i = command == &app ? 1 : 2; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (word == "--") break;
    if (!word.starts_with("--")) continue;
    const std::string name(word.substr(0, word.find('=')));
    if (std::find(names.begin(), names.end(), name) != names.end()) continue;
    return name + " is no option of " + (command == &app ? "" : app.get_name() + " ") +
           command->get_name() + meant(name, names);
  }
  return "";
}

}  // namespace quel::tools
