#include "tools/completion.h"

#include <CLI/CLI.hpp>
#include <string_view>
#include <vector>

#include "tools/declared.h"

namespace quel::tools {
namespace {

enum class ValueKind { none, words, file, folder };

ValueKind value_kind(const CLI::Option& option) {
  if (!fixed_values(option).empty()) return ValueKind::words;
  const std::string text = value_text(option);
  if (text.find("FOLDER") != std::string::npos) return ValueKind::folder;
  return text.find("FILE") != std::string::npos ? ValueKind::file : ValueKind::none;
}

bool is_list(const CLI::Option& option) {
  return option.get_delimiter() != '\0';
}

std::string replaced(std::string text, const std::string& what, const std::string& with) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
  return text;
}

std::string first_line(const char* shell, const std::string& name) {
  return "# Completions of " + name + " for " + shell + ", made by " + name + " --completions " +
         shell + ".\n";
}

// ---- bash ----

std::string bash_value(const CLI::Option& option) {
  std::string set;
  switch (value_kind(option)) {
    case ValueKind::words:
      set =
          "words='" + joined(fixed_values(option), " ") + "'" + (is_list(option) ? " list=1" : "");
      break;
    case ValueKind::file:
      set = "kind=file";
      break;
    case ValueKind::folder:
      set = "kind=folder";
      break;
    case ValueKind::none:
      set = "kind=none";
      break;
  }
  return "        " + joined(option_names(option), "|") + ") " + set + " ;;\n";
}

std::string bash_case(const CLI::App& command) {
  std::vector<std::string> options;
  std::string values;
  for (const CLI::Option* option : declared_options(command)) {
    for (const std::string& name : option_names(*option)) options.push_back(name);
    if (takes_value(*option)) values += bash_value(*option);
  }
  const char* argument = declared_positionals(command).empty() ? "none" : "file";
  return "    " + command.get_name() + ")\n      case $previous in\n" + values +
         "        *)\n          if [[ $current == -* ]]; then\n            words='" +
         joined(options, " ") + "'\n          else\n            kind=" + argument +
         "\n          fi ;;\n      esac ;;\n";
}

constexpr const char* bash_start = R"sh(  local current=${COMP_WORDS[COMP_CWORD]}
  local previous=${COMP_WORDS[COMP_CWORD-1]}
  local words='' kind=words list=0 prefix=''
  # What stands after = comes as a word of its own.
  if [[ $current == = ]]; then
    current=''
  elif [[ $previous == = ]]; then
    previous=${COMP_WORDS[COMP_CWORD-2]}
  fi
)sh";

constexpr const char* bash_end = R"sh(  if [[ $list -eq 1 && $current == *,* ]]; then
    prefix=${current%,*},
  fi
  local IFS=$'\n'
  COMPREPLY=()
  case $kind in
    words) COMPREPLY=($(IFS=' '; compgen -P "$prefix" -W "$words" -- "${current#"$prefix"}")) ;;
    file) compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -f -- "$current")) ;;
    folder) compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -d -- "$current")) ;;
  esac
}
)sh";

// ---- zsh ----

/// For the inside of '...', in an argument description whose fields colons separate.
std::string zsh_text(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\'') {
      out += "'\\''";
    } else {
      if (c == ':' || c == '[' || c == ']' || c == '\\') out += '\\';
      out += c;
    }
  }
  return out;
}

std::string zsh_value(const CLI::Option& option) {
  if (!takes_value(option)) return "";
  const std::string words = joined(fixed_values(option), " ");
  std::string action;
  switch (value_kind(option)) {
    case ValueKind::words:
      action = is_list(option) ? "_sequence compadd - " + words : "(" + words + ")";
      break;
    case ValueKind::file:
      action = "_files";
      break;
    case ValueKind::folder:
      action = "_files -/";
      break;
    case ValueKind::none:
      action = " ";
      break;
  }
  return ":" + zsh_text(value_text(option)) + ":" + action;
}

/// One line of _arguments for each name of the option.
std::string zsh_option(const CLI::Option& option, const std::string& indent) {
  const std::vector<std::string> names = option_names(option);
  const std::string others = repeats(option) ? "*" : "(" + joined(names, " ") + ")";
  std::string lines;
  for (const std::string& name : names) {
    const bool long_value = takes_value(option) && name.starts_with("--");
    lines += indent + "'" + others + name +
             (long_value            ? "="
              : takes_value(option) ? "+"
                                    : "") +
             "[" + zsh_text(option.get_description()) + "]" + zsh_value(option) + "' \\\n";
  }
  return lines;
}

std::string zsh_case(const CLI::App& command) {
  std::string text = "    " + command.get_name() + ")\n      _arguments \\\n";
  for (const CLI::Option* option : declared_options(command))
    text += zsh_option(*option, "        ");
  for (const CLI::Option* option : declared_positionals(command)) {
    const bool several = option->get_items_expected_max() > 1;
    text += std::string("        '") + (several ? "*" : "") + ":" + zsh_text(option->get_name()) +
            ":_files' \\\n";
  }
  text.erase(text.size() - 3);  // the last line goes on nowhere
  return text + " ;;\n";
}

// ---- fish ----

/// For the inside of '...'.
std::string fish_text(const std::string& text) {
  return replaced(replaced(text, "\\", "\\\\"), "'", "\\'");
}

std::string fish_option(const std::string& name, const std::string& condition,
                        const CLI::Option& option) {
  std::string line = "complete -c " + name + " -n '" + condition + "'";
  for (const std::string& each : option.get_snames()) line += " -s " + each;
  for (const std::string& each : option.get_lnames()) line += " -l " + each;
  line += " -d '" + fish_text(option.get_description()) + "'";
  if (!takes_value(option)) return line + "\n";
  const std::string words = joined(fixed_values(option), " ");
  switch (value_kind(option)) {
    case ValueKind::words:
      return line + " -x -a '" + (is_list(option) ? "(__fish_append , " + words + ")" : words) +
             "'\n";
    case ValueKind::file:
      return line + " -r -F\n";
    case ValueKind::folder:
      return line + " -x -a '(__fish_complete_directories)'\n";
    case ValueKind::none:
      break;
  }
  return line + " -x\n";
}

}  // namespace

std::string bash_completion(const CLI::App& app) {
  const std::string name = app.get_name();
  std::vector<std::string> first;
  for (const CLI::App* command : declared_commands(app)) first.push_back(command->get_name());
  for (const CLI::Option* option : declared_options(app)) {
    for (const std::string& option_name : option_names(*option)) first.push_back(option_name);
  }
  std::string script = first_line("bash", name) + "_" + name + "() {\n" + bash_start +
                       "  if [[ $COMP_CWORD -eq 1 ]]; then\n    words='" + joined(first, " ") +
                       "'\n  else\n    case ${COMP_WORDS[1]} in\n";
  for (const CLI::App* command : declared_commands(app)) script += bash_case(*command);
  return script + "    *) ;;\n    esac\n  fi\n" + bash_end + "complete -F _" + name + " " + name +
         "\n";
}

std::string zsh_completion(const CLI::App& app) {
  const std::string name = app.get_name();
  std::string script = "#compdef " + name + "\n" + first_line("zsh", name) + "_" + name +
                       "() {\n  local context state state_descr line\n  typeset -A opt_args\n"
                       "  local -a commands=(\n";
  for (const CLI::App* command : declared_commands(app)) {
    script += "    '" + command->get_name() + ":" + zsh_text(command->get_description()) + "'\n";
  }
  script += "  )\n  _arguments -C \\\n";
  for (const CLI::Option* option : declared_options(app)) script += zsh_option(*option, "    ");
  script +=
      "    '1: :->command' '*:: :->arguments'\n"
      "  if [[ $state == command ]]; then\n    _describe -t commands command commands\n"
      "    return\n  fi\n  case $words[1] in\n";
  for (const CLI::App* command : declared_commands(app)) script += zsh_case(*command);
  return script + "  esac\n}\n_" + name + " \"$@\"\n";
}

std::string fish_completion(const CLI::App& app) {
  const std::string name = app.get_name();
  std::string script = first_line("fish", name) + "complete -c " + name + " -f\n";
  for (const CLI::Option* option : declared_options(app)) {
    script += fish_option(name, "__fish_use_subcommand", *option);
  }
  for (const CLI::App* command : declared_commands(app)) {
    const std::string& command_name = command->get_name();
    script += "complete -c " + name + " -n __fish_use_subcommand -a " + command_name + " -d '" +
              fish_text(command->get_description()) + "'\n";
    const std::string condition = "__fish_seen_subcommand_from " + command_name;
    if (!declared_positionals(*command).empty()) {
      script += "complete -c " + name + " -n '" + condition + "' -F\n";
    }
    for (const CLI::Option* option : declared_options(*command)) {
      script += fish_option(name, condition, *option);
    }
  }
  return script;
}

}  // namespace quel::tools
