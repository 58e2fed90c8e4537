// The manual pages hold what --help holds, and are pages that man can show.
#include "tools/man.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

#include "tools/declared_support.h"
#include "tools/man_text.h"

namespace quel::tools {
namespace {

using test::commands_of_help;
using test::matches;
using test::options_of_help;
using test::quel_output;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// The page of a command, "" for the program's own.
std::string page_of(const std::string& command) {
  return command.empty() ? quel_output({"--man"}) : quel_output({"--man", command});
}

std::set<std::string> pages() {
  std::set<std::string> all = commands_of_help();
  all.insert("");
  return all;
}

std::string without_escapes(const std::string& text) {
  return std::regex_replace(std::regex_replace(text, std::regex("\\\\-"), "-"),
                            std::regex("\\\\f[BIR]"), "");
}

class ManPage : public test::ToolTest {
 protected:
  // The page in a file, whose name is returned.
  std::string written(const std::string& page) {
    const std::string name = path("page.1");
    test::write_bytes(name, test::Bytes(page.begin(), page.end()));
    return name;
  }
};

TEST_F(ManPage, EveryCommandHasItsOwnWithEveryOption) {
  const auto commands = commands_of_help();
  EXPECT_THAT(commands, ::testing::IsSupersetOf({"encode", "decode", "play", "info", "dump", "mux",
                                                 "demux", "eval", "selftest"}));
  const std::string overview = without_escapes(page_of(""));
  for (const std::string& command : commands) {
    SCOPED_TRACE(command);
    EXPECT_THAT(overview, HasSubstr("\n.BR quel-" + command + " (1)\n"));
    const std::string page = page_of(command);
    const std::size_t start = page.find("\n.SH OPTIONS\n");
    ASSERT_NE(start, std::string::npos);
    const std::string section = page.substr(start, page.find("\n.SH", start + 1) - start);
    const auto options = options_of_help(command);
    EXPECT_THAT(options, Contains("--help"));
    for (const std::string& option : options) {
      const std::string escaped = std::regex_replace(option, std::regex("-"), "\\-");
      EXPECT_THAT(section, HasSubstr("\\fB" + escaped + "\\fR"));
    }
  }
}

TEST_F(ManPage, TheBuildMakesThemAll) {
  const std::filesystem::path build = std::filesystem::path(QUEL_PROGRAM).parent_path() / "..";
  if (!std::filesystem::exists(build / "tools" / "quel.1")) GTEST_SKIP() << "a cross build";
  for (const std::string& command : commands_of_help()) {
    EXPECT_TRUE(std::filesystem::exists(build / "tools" / ("quel-" + command + ".1"))) << command;
  }
}

TEST_F(ManPage, HasTheSectionsThatAReaderLooksFor) {
  for (const std::string& command : pages()) {
    SCOPED_TRACE(command);
    const std::string page = page_of(command);
    EXPECT_THAT(page, StartsWith(command.empty() ? ".TH QUEL 1 " : ".TH QUEL\\-"));
    for (const std::string section :
         {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "EXAMPLES", "SEE ALSO"}) {
      EXPECT_THAT(page, HasSubstr("\n.SH " + section + "\n"));
    }
  }
  EXPECT_THAT(page_of(""), HasSubstr("\n.SH COMMANDS\n"));
}

TEST_F(ManPage, SpeaksOfNoOptionThatIsNotThere) {
  std::set<std::string> all = {"--man"};
  for (const std::string& command : commands_of_help()) {
    for (const std::string& option : options_of_help(command)) all.insert(option);
  }
  for (const std::string& command : pages()) {
    for (const std::string& option :
         matches(without_escapes(page_of(command)), "[^a-z-](--[a-z][a-z-]*)")) {
      EXPECT_THAT(all, Contains(option)) << command;
    }
    const ManText* text = man_text(command);
    ASSERT_NE(text, nullptr) << command;
    EXPECT_FALSE(text->examples.empty());
  }
}

TEST_F(ManPage, IsWellFormedRoff) {
  const std::set<std::string> macros = {".TH", ".SH", ".PP", ".TP", ".B",  ".I",
                                        ".BR", ".br", ".RS", ".RE", ".EX", ".EE"};
  for (const std::string& command : pages()) {
    const std::string page = page_of(command);
    EXPECT_EQ(page.back(), '\n');
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
  }
}

TEST_F(ManPage, NoWarningsOfMandoc) {
  if (!test::has_program("mandoc")) GTEST_SKIP() << "no mandoc";
  for (const std::string& command : pages()) {
    const auto lint = test::run_program(
        "/bin/sh", {"-c", "exec mandoc -Tlint -Wwarning \"$1\"", "sh", written(page_of(command))});
    std::istringstream lines(lint.out);
    for (std::string line; std::getline(lines, line);) {
      // The pages bear a version in place of a date, so that builds of one source are the same.
      EXPECT_THAT(line, HasSubstr("missing date")) << command;
    }
  }
}

TEST_F(ManPage, ManRendersIt) {
  if (!test::has_program("man") || !test::has_program("groff")) GTEST_SKIP() << "no man";
  for (const std::string& command : pages()) {
    SCOPED_TRACE(command);
    const auto shown =
        test::run_program("/bin/sh", {"-c",
                                      "MANWIDTH=100 MANROFFOPT='-ww -rHY=0' MAN_KEEP_FORMATTING= "
                                      "exec man --no-hyphenation -P cat -l \"$1\"",
                                      "sh", written(page_of(command))});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.err, "");
    std::string flat = std::regex_replace(shown.out, std::regex("\\s+"), " ");
    EXPECT_THAT(flat, HasSubstr("NAME quel" + (command.empty() ? "" : "-" + command) + " - "));
    // Dashes and quotes that can be typed again; an example is one line.
    for (const ManExample& example : man_text(command)->examples) {
      EXPECT_THAT(shown.out, HasSubstr(std::string(" ") + example.line + "\n"));
    }
  }
}

TEST_F(ManPage, TextThatLooksLikeACommandToRoffIsHarmless) {
  CLI::App app{"about"};
  app.name("p");
  auto* command = app.add_subcommand("c", ".dots first");
  bool flag = false;
  command->add_flag("--x", flag, "'quoted' C:\\new-line");
  EXPECT_THAT(man_page(app, "p 1"), HasSubstr("\n\\&.dots first\n"));
  EXPECT_THAT(man_page(app, *command, "p 1"), HasSubstr("\n\\(aqquoted\\(aq C:\\enew\\-line\n"));
}

TEST_F(ManPage, HiddenOptionsStayHidden) {
  CLI::App app{"about"};
  app.name("p");
  bool flag = false;
  app.add_flag("--secret", flag, "x")->group("");
  EXPECT_THAT(man_page(app, "p 1"), Not(HasSubstr("secret")));
}

TEST_F(ManPage, OfWhatIsNoCommandThereIsNone) {
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"--man", "nothing"}, {"--man", "encode", "decode"}, {"--completions", "csh"}}) {
    const auto result = test::run_program(QUEL_PROGRAM, arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, arguments[0] == "--man"
                              ? "quel: --man: takes the name of a command or nothing\n"
                              : "quel: --completions: takes bash, zsh or fish\n");
  }
}

}  // namespace
}  // namespace quel::tools
