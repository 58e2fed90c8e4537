#include "tools/declared.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>

namespace quel::tools {

std::vector<const CLI::App*> declared_commands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

std::vector<const CLI::Option*> declared_options(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) {
    return !option->get_group().empty() && option->nonpositional();
  });
}

std::vector<const CLI::Option*> declared_positionals(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) {
    return !option->get_group().empty() && option->get_positional();
  });
}

bool takes_value(const CLI::Option& option) {
  return option.get_items_expected_max() > 0;
}

bool repeats(const CLI::Option& option) {
  return takes_value(option) && option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
}

std::vector<std::string> option_names(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

std::string value_text(const CLI::Option& option) {
  if (!takes_value(option)) return "";
  if (!option.get_option_text().empty()) return option.get_option_text();
  const std::string type = option.get_type_name();
  return type.empty() ? "VALUE" : type.substr(0, type.find(':'));
}

std::vector<std::string> fixed_values(const CLI::Option& option) {
  std::vector<std::string> values;
  std::string text = option.get_option_text() + "|";
  if (std::count(text.begin(), text.end(), '|') < 2) return values;
  for (std::size_t bar = text.find('|'); bar != std::string::npos; bar = text.find('|')) {
    const std::string word = text.substr(0, bar);
    text.erase(0, bar + 1);
    if (word.size() == 4 && word.substr(1, 2) == ".." && std::isdigit(word[0]) != 0) {
      for (char digit = word[0]; digit <= word[3]; ++digit) values.emplace_back(1, digit);
      continue;
    }
    const bool plain = std::all_of(word.begin(), word.end(), [](unsigned char c) {
      return std::islower(c) != 0 || std::isdigit(c) != 0 || c == '.';
    });
    if (plain && !word.empty()) values.push_back(word);
  }
  return values;
}

std::string joined(const std::vector<std::string>& words, const std::string& separator) {
  std::string out;
  for (const std::string& word : words) {
    if (!out.empty()) out += separator;
    out += word;
  }
  return out;
}

}  // namespace quel::tools
