#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tools/tool_support.h"

namespace quel::test {

/// What the program writes to standard output; it must succeed and complain of nothing.
inline std::string quel_output(const std::vector<std::string>& arguments) {
  const ProgramResult result = run_program(QUEL_PROGRAM, arguments);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  return result.out;
}

/// The first group of every match.
inline std::set<std::string> matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  std::set<std::string> found;
  for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it) {
    found.insert((*it)[1]);
  }
  return found;
}

inline std::set<std::string> commands_of_help() {
  const std::string help = quel_output({"--help"});
  return matches(help.substr(help.find("Subcommands:")), "\n  ([a-z]+) ");
}

/// Option names where a line of --help lists them, ahead of the description.
inline std::set<std::string> options_of_help(const std::string& command) {
  std::set<std::string> options;
  std::istringstream lines(quel_output({command, "--help"}));
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("  -")) continue;
    for (const std::string& name :
         matches(line.substr(0, line.find(' ', 2)), "(--?[a-zA-Z0-9][a-z-]*)")) {
      options.insert(name);
    }
  }
  return options;
}

inline bool has_program(const std::string& name) {
  return run_program("/bin/sh", {"-c", "command -v " + name}).status == 0;
}

}  // namespace quel::test
