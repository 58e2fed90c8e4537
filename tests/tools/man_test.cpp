// The manual page and the completions hold what --help holds.
#include "tools/man.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <regex>
#include <set>
#include <sstream>

#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

std::string quel(const std::vector<std::string>& arguments) {
  const test::ProgramResult result = test::run_program(QUEL_PROGRAM, arguments);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  return result.out;
}

std::set<std::string> matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  std::set<std::string> found;
  for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it) {
    found.insert((*it)[1]);
  }
  return found;
}

std::set<std::string> commands_of_help() {
  const std::string help = quel({"--help"});
  return matches(help.substr(help.find("Subcommands:")), "\n  ([a-z]+) ");
}

// Option names where a line of --help lists them, ahead of the description.
std::set<std::string> options_of_help(const std::string& command) {
  std::set<std::string> options;
  std::istringstream lines(quel({command, "--help"}));
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("  -")) continue;
    for (const std::string& name :
         matches(line.substr(0, line.find(' ', 2)), "(--?[a-zA-Z][a-z-]*)")) {
      options.insert(name);
    }
  }
  return options;
}

// What bash offers once `line` is typed, whose last word is being completed.
std::set<std::string> offered(const std::vector<std::string>& line) {
  std::string words;
  for (const std::string& word : line) words += "'" + word + "' ";
  const std::string script = std::string("source <(") + QUEL_PROGRAM +
                             " --completions bash) && COMP_WORDS=(" + words +
                             ") COMP_CWORD=" + std::to_string(line.size() - 1) +
                             " && _quel && printf '%s\\n' \"${COMPREPLY[@]}\"";
  const test::ProgramResult result = test::run_program("/bin/bash", {"-u", "-c", script});
  EXPECT_EQ(result.err, "");
  std::set<std::string> words_offered;
  std::istringstream lines(result.out);
  for (std::string word; std::getline(lines, word);) {
    if (!word.empty()) words_offered.insert(word);
  }
  return words_offered;
}

TEST(ManPage, HasEveryCommandAndEveryOption) {
  const std::string page = quel({"--man"});
  const auto commands = commands_of_help();
  EXPECT_THAT(commands, ::testing::IsSupersetOf({"encode", "decode", "info", "dump", "mux", "demux",
                                                 "eval", "selftest"}));
  for (const std::string& command : commands) {
    SCOPED_TRACE(command);
    const std::size_t start = page.find("\n.SS quel " + command + " [options]");
    ASSERT_NE(start, std::string::npos);
    const std::string section = page.substr(start, page.find("\n.S", start + 1) - start);
    const auto options = options_of_help(command);
    EXPECT_THAT(options, Contains("--help"));
    for (const std::string& option : options) {
      const std::string escaped = std::regex_replace(option, std::regex("-"), "\\-");
      EXPECT_THAT(section, HasSubstr("\\fB" + escaped + "\\fR"));
    }
  }
}

TEST(ManPage, IsWellFormedRoff) {
  const std::string page = quel({"--man"});
  EXPECT_THAT(page, StartsWith(".TH QUEL 1 "));
  EXPECT_EQ(page.back(), '\n');
  const std::set<std::string> macros = {".TH", ".SH", ".SS", ".TP", ".B", ".I", ".IR", ".BR"};
  std::istringstream lines(page);
  for (std::string line; std::getline(lines, line);) {
    ASSERT_FALSE(line.empty());
    EXPECT_NE(line[0], '\'') << line;
    if (line[0] == '.') {
      EXPECT_THAT(macros, Contains(line.substr(0, line.find(' ')))) << line;
    }
    // Every switch to another font comes back.
    std::size_t switched = 0, back = 0;
    for (std::size_t at = 0; (at = line.find("\\f", at)) != std::string::npos; at += 3) {
      ++(line[at + 2] == 'R' ? back : switched);
    }
    EXPECT_EQ(switched, back) << line;
  }
  for (const std::string section : {"NAME", "SYNOPSIS", "DESCRIPTION", "COMMANDS", "EXIT STATUS",
                                    "FILES", "EXAMPLES", "SEE ALSO"}) {
    EXPECT_THAT(page, HasSubstr("\n.SH " + section + "\n"));
  }
}

TEST(ManPage, TextThatLooksLikeACommandToRoffIsHarmless) {
  CLI::App app{"about"};
  app.name("p");
  auto* command = app.add_subcommand("c", ".dots first");
  bool flag = false;
  command->add_flag("--x", flag, "'quoted' C:\\new-line");
  const std::string page = man_page(app, "p 1");
  EXPECT_THAT(page, HasSubstr("\n\\&.dots first.\n"));
  EXPECT_THAT(page, HasSubstr("\n\\&'quoted' C:\\enew\\-line\n"));
}

TEST(ManPage, HiddenOptionsStayHidden) {
  CLI::App app{"about"};
  app.name("p");
  bool flag = false;
  app.add_flag("--secret", flag, "x")->group("");
  EXPECT_THAT(man_page(app, "p 1"), Not(HasSubstr("secret")));
  EXPECT_THAT(bash_completion(app), Not(HasSubstr("secret")));
}

TEST(BashCompletion, OffersEveryCommandAndEveryOption) {
  EXPECT_THAT(offered({"quel", ""}), ::testing::IsSupersetOf(commands_of_help()));
  for (const std::string& command : commands_of_help()) {
    EXPECT_EQ(offered({"quel", command, "-"}), options_of_help(command)) << command;
  }
}

TEST(BashCompletion, OffersFixedValues) {
  EXPECT_EQ(offered({"quel", "eval", "--conceal", ""}),
            (std::set<std::string>{"deferred", "immediate"}));
  EXPECT_EQ(offered({"quel", "eval", "--conceal", "d"}), (std::set<std::string>{"deferred"}));
  EXPECT_EQ(offered({"quel", "mux", "--flavor", "1"}), (std::set<std::string>{"16"}));
}

TEST(BashCompletion, OffersFilesElsewhere) {
  EXPECT_THAT(offered({"quel", "info", "/etc/pass"}), Contains("/etc/passwd"));
  EXPECT_THAT(offered({"quel", "eval", "--json", "/etc/pass"}), Contains("/etc/passwd"));
  EXPECT_THAT(offered({"quel", "nothing", "-"}), IsEmpty());
}

}  // namespace
}  // namespace quel::tools
