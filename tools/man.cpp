#include "tools/man.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <string_view>
#include <vector>

namespace quel::tools {
namespace {

// What stands after the options: nothing here follows from their declarations.
constexpr const char* man_end = R"(.SH EXIT STATUS
.TP
.B 0
Everything worked.
.TP
.B 1
Something failed, or a coded file was damaged or cut short and only what is there was written.
Messages on standard error name file and cause.
.TP
.B 2
Wrong use.
.SH FILES
An output appears under its name only once it is complete; until then it is
.IR NAME .part.
A run that is killed leaves this file behind.
.SH EXAMPLES
.TP
.B quel encode speech.wav speech.quel
.TP
.B quel decode speech.quel heard.wav
.TP
.B quel info speech.quel
.TP
.B quel dump speech.quel | quel mux \-\-from\-dump \- copy.quel
.SH SEE ALSO
.BR quelo (1)
)";

// Text that roff takes for what it is.
std::string roff(std::string_view text) {
  std::string out;
  if (!text.empty() && (text[0] == '.' || text[0] == '\'')) out += "\\&";
  for (const char c : text) {
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else if (c == '\n') {
      out += ' ';
    } else {
      out += c;
    }
  }
  return out;
}

std::vector<const CLI::Option*> shown_options(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) {
    return !option->get_group().empty() && option->nonpositional();
  });
}

std::vector<const CLI::Option*> positionals(const CLI::App& app) {
  return app.get_options([](const CLI::Option* option) {
    return !option->get_group().empty() && option->get_positional();
  });
}

std::vector<const CLI::App*> commands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

bool takes_value(const CLI::Option& option) {
  return option.get_items_expected_max() > 0;
}

std::vector<std::string> names(const CLI::Option& option) {
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

std::string option_entry(const CLI::Option& option) {
  std::string entry = ".TP\n";
  std::string separator;
  for (const std::string& name : names(option)) {
    entry += separator + "\\fB" + roff(name) + "\\fR";
    separator = ", ";
  }
  if (takes_value(option)) entry += " \\fI" + roff(value_text(option)) + "\\fR";
  entry += '\n' + roff(option.get_description());
  if (takes_value(option) && !option.get_default_str().empty()) {
    entry += " (by default " + roff(option.get_default_str()) + ")";
  }
  return entry + '\n';
}

std::string command_section(const CLI::App& program, const CLI::App& command) {
  std::string text = ".SS " + roff(program.get_name() + " " + command.get_name()) + " [options]";
  for (const CLI::Option* option : positionals(command)) {
    const bool several = option->get_items_expected_max() > 1;
    const std::string name = roff(option->get_name()) + (several ? " ..." : "");
    text += option->get_required() ? " " + name : " [" + name + "]";
  }
  text += '\n' + roff(command.get_description()) + ".\n";
  for (const CLI::Option* option : positionals(command)) {
    text +=
        ".TP\n\\fI" + roff(option->get_name()) + "\\fR\n" + roff(option->get_description()) + '\n';
  }
  for (const CLI::Option* option : shown_options(command)) text += option_entry(*option);
  return text;
}

// The words that an option's text lists, such as immediate|deferred; words in capitals and ranges
// stand for something else.
std::vector<std::string> fixed_values(const CLI::Option& option) {
  std::vector<std::string> values;
  std::string text = option.get_option_text() + "|";
  if (std::count(text.begin(), text.end(), '|') < 2) return values;
  for (std::size_t bar = text.find('|'); bar != std::string::npos; bar = text.find('|')) {
    const std::string word = text.substr(0, bar);
    text.erase(0, bar + 1);
    const bool plain = std::all_of(word.begin(), word.end(), [](unsigned char c) {
      return std::islower(c) != 0 || std::isdigit(c) != 0 || c == '.';
    });
    if (plain && !word.empty() && word.find("..") == std::string::npos) values.push_back(word);
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

std::string completion_case(const CLI::App& command) {
  std::vector<std::string> options;
  std::string values;
  for (const CLI::Option* option : shown_options(command)) {
    for (const std::string& name : names(*option)) options.push_back(name);
    if (!takes_value(*option)) continue;
    const std::string pattern = joined(names(*option), "|");
    if (const auto words = fixed_values(*option); !words.empty()) {
      values += "        " + pattern + ") words='" + joined(words, " ") + "' ;;\n";
    } else {
      values += "        " + pattern + ") words= files=1 ;;\n";
    }
  }
  return "    " + command.get_name() + ")\n      words='" + joined(options, " ") +
         "'\n      [[ $current == -* ]] || words= files=1\n      case $previous in\n" + values +
         "        *) ;;\n      esac ;;\n";
}

}  // namespace

std::string man_page(const CLI::App& app, const std::string& version) {
  const std::string name = app.get_name();
  std::string capitals = name;
  for (char& c : capitals) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  std::string page = ".TH " + capitals + " 1 \"\" \"" + roff(version) + "\" \"User commands\"\n";
  page += ".SH NAME\n" + name + " \\- " + roff(app.get_description()) + '\n';
  page +=
      ".SH SYNOPSIS\n.B " + name + "\n.I command\n[options] ...\n.SH DESCRIPTION\n.B " + name +
      "\ncodes speech at 5, 6.5, 8.5 and 16 kbit/s into files (.quel, audio/x\\-quel) and back.\n"
      "Data goes to standard output, messages to standard error.\n";
  for (const CLI::Option* option : shown_options(app)) page += option_entry(*option);
  page += ".SH COMMANDS\n";
  for (const CLI::App* command : commands(app)) page += command_section(app, *command);
  return page + man_end;
}

std::string bash_completion(const CLI::App& app) {
  const std::string name = app.get_name();
  std::vector<std::string> first, command_names;
  for (const CLI::App* command : commands(app)) command_names.push_back(command->get_name());
  first = command_names;
  for (const CLI::Option* option : shown_options(app)) {
    for (const std::string& option_name : names(*option)) first.push_back(option_name);
  }
  std::string script = "# Completions of " + name + " for bash, made by " + name +
                       " --completions bash.\n_" + name + "() {\n" +
                       "  local current=${COMP_WORDS[COMP_CWORD]}\n"
                       "  local previous=${COMP_WORDS[COMP_CWORD-1]}\n"
                       "  local words= files=0\n"
                       "  if [[ $COMP_CWORD -eq 1 ]]; then\n    words='" +
                       joined(first, " ") + "'\n  else\n    case ${COMP_WORDS[1]} in\n";
  for (const CLI::App* command : commands(app)) script += completion_case(*command);
  script +=
      "    *) ;;\n    esac\n  fi\n"
      "  COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
      "  if [[ $files -eq 1 && ${#COMPREPLY[@]} -eq 0 ]]; then\n"
      "    local IFS=$'\\n'\n"
      "    COMPREPLY=($(compgen -f -- \"$current\"))\n"
      "  fi\n}\n";
  return script + "complete -o filenames -F _" + name + " " + name + "\n";
}

}  // namespace quel::tools
