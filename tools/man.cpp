#include "tools/man.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <string_view>
#include <vector>

#include "tools/declared.h"
#include "tools/man_text.h"

namespace quel::tools {
namespace {

// Text that roff takes for what it is.
std::string roff(std::string_view text) {
  std::string out;
  if (!text.empty() && text[0] == '.') out += "\\&";
  for (const char c : text) {
    switch (c) {
      case '\\':
        out += "\\e";
        break;
      case '-':
        out += "\\-";
        break;
      case '\'':
        out += "\\(aq";
        break;
      case '^':
        out += "\\(ha";
        break;
      case '~':
        out += "\\(ti";
        break;
      case '`':
        out += "\\(ga";
        break;
      case '\n':
        out += ' ';
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string bold(const std::string& text) {
  return "\\fB" + roff(text) + "\\fR";
}

std::string italic(const std::string& text) {
  return "\\fI" + roff(text) + "\\fR";
}

/// Paragraphs of plain text.
std::string paragraphs(std::string_view text) {
  std::string out;
  for (;;) {
    const std::size_t end = text.find("\n\n");
    out += roff(text.substr(0, end)) + '\n';
    if (end == std::string_view::npos) return out;
    text.remove_prefix(end + 2);
    out += ".PP\n";
  }
}

std::string capitals(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::string title(const std::string& name, const std::string& version, const std::string& what) {
  return ".TH " + roff(capitals(name)) + " 1 \"\" \"" + roff(version) +
         "\" \"User commands\"\n.SH NAME\n" + roff(name) + " \\- " + roff(what) + '\n';
}

std::string option_entry(const CLI::Option& option) {
  std::string entry = ".TP\n";
  std::string separator;
  for (const std::string& name : option_names(option)) {
    entry += separator + bold(name);
    separator = ", ";
  }
  if (takes_value(option)) entry += " " + italic(value_text(option));
  entry += '\n' + roff(option.get_description());
  if (takes_value(option) && !option.get_default_str().empty()) {
    entry += " (by default " + roff(option.get_default_str()) + ")";
  }
  return entry + '\n';
}

/// Options in bold, names in capitals in italics.
std::string synopsis_line(const std::string& call, const std::string& arguments) {
  std::string line = ".B " + roff(call) + '\n';
  std::string_view rest = arguments;
  std::string separator;
  while (!rest.empty()) {
    const std::string word(rest.substr(0, rest.find(' ')));
    rest.remove_prefix(std::min(rest.size(), word.size() + 1));
    const bool option = word.find('-') != std::string::npos;
    const bool name = std::isupper(static_cast<unsigned char>(word[0])) != 0;
    line += separator + (option ? bold(word) : name ? italic(word) : roff(word));
    separator = " ";
  }
  return line + '\n';
}

std::string declared_arguments(const CLI::App& command) {
  std::string line = "[options]";
  for (const CLI::Option* option : declared_positionals(command)) {
    const bool several = option->get_items_expected_max() > 1;
    line += " " + capitals(option->get_name()) + (several ? "..." : "");
  }
  return line;
}

std::string synopsis(const CLI::App& command, const std::string& call, const ManText* text) {
  std::vector<std::string> forms;
  if (text != nullptr) forms.assign(text->synopsis.begin(), text->synopsis.end());
  if (forms.empty()) forms = {declared_arguments(command)};
  std::string out = ".SH SYNOPSIS\n";
  std::string separator;
  for (const std::string& form : forms) {
    out += separator + synopsis_line(call, form);
    separator = ".br\n";
  }
  return out;
}

std::string exit_status(const ManText& text) {
  return ".SH EXIT STATUS\n.TP\n.B 0\nEverything worked.\n.TP\n.B 1\n" + paragraphs(text.failure) +
         ".TP\n.B 2\nWrong use; nothing was done.\n";
}

std::string examples(const ManText& text) {
  std::string out = ".SH EXAMPLES\n";
  bool first = true;
  for (const ManExample& example : text.examples) {
    if (*example.purpose != '\0') {
      out += (first ? "" : ".PP\n") + roff(example.purpose) + ":\n.PP\n";
    }
    out += ".RS 4\n.EX\n" + roff(example.line) + "\n.EE\n.RE\n";
    first = false;
  }
  return out;
}

std::string ending(const ManText* text) {
  if (text == nullptr) return "";
  std::string out = exit_status(*text);
  for (const char* file : text->files) {
    out += (file == text->files.front() ? ".SH FILES\n" : ".PP\n") + paragraphs(file);
  }
  return out + examples(*text);
}

std::string see_also(std::vector<std::string> pages) {
  std::string out = ".SH SEE ALSO\n";
  for (std::size_t i = 0; i < pages.size(); ++i) {
    out += ".BR " + roff(pages[i]) + " (1)" + (i + 1 < pages.size() ? ",\n" : "\n");
  }
  return out;
}

}  // namespace

std::string man_page(const CLI::App& app, const std::string& version) {
  const std::string& name = app.get_name();
  const ManText* text = man_text("");
  std::string page = title(name, version, app.get_description()) + ".SH SYNOPSIS\n.B " + name +
                     "\n.I COMMAND\n[options] ...\n";
  page += ".SH DESCRIPTION\n.B " + name + '\n' + paragraphs(text->description);
  page += ".SH COMMANDS\n";
  std::vector<std::string> others;
  for (const CLI::App* command : declared_commands(app)) {
    others.push_back(name + "-" + command->get_name());
    page += ".TP\n.BR " + roff(others.back()) + " (1)\n" + roff(command->get_description()) + '\n';
  }
  page += ".SH OPTIONS\n";
  for (const CLI::Option* option : declared_options(app)) page += option_entry(*option);
  others.push_back("quelo");
  return page + ending(text) + see_also(others);
}

std::string man_page(const CLI::App& app, const CLI::App& command, const std::string& version) {
  const std::string call = app.get_name() + " " + command.get_name();
  const std::string name = app.get_name() + "-" + command.get_name();
  const ManText* text = man_text(command.get_name());
  std::string page = title(name, version, command.get_description()) +
                     synopsis(command, call, text) + ".SH DESCRIPTION\n.B " + roff(call) + '\n';
  page += paragraphs(text != nullptr ? text->description : command.get_description());
  for (const CLI::Option* option : declared_positionals(command)) {
    page += ".TP\n" + italic(capitals(option->get_name())) + '\n' +
            roff(option->get_description()) + '\n';
  }
  page += ".SH OPTIONS\n";
  for (const CLI::Option* option : declared_options(command)) page += option_entry(*option);
  std::vector<std::string> others = {app.get_name()};
  for (const CLI::App* other : declared_commands(app)) {
    if (other != &command) others.push_back(app.get_name() + "-" + other->get_name());
  }
  return page + ending(text) + see_also(others);
}

}  // namespace quel::tools
