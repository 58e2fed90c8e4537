// What shells offer after "quel". bash and fish are asked themselves; zsh's helpers are stood in
// for, since its completion needs a terminal.
#include "tools/completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <set>
#include <sstream>

#include "tools/declared_support.h"

namespace quel::tools {
namespace {

using test::commands_of_help;
using test::options_of_help;
using test::quel_output;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Words = std::set<std::string>;

/// The program's completions, with its folder on the path and a folder of its own to complete in.
class Completion : public test::ToolTest {
 protected:
  Completion() {
    for (const std::string shell : {"bash", "zsh", "fish"}) {
      const std::string script = quel_output({"--completions", shell});
      test::write_bytes(path("quel." + shell), test::Bytes(script.begin(), script.end()));
    }
    test::write_bytes(path("sound one.wav"), {});
    test::run_program("/bin/mkdir", {path("sounds")});
  }

  Words lines_of(const std::string& shell, const std::vector<std::string>& arguments) {
    const auto result = test::run_program("/usr/bin/env", [&] {
      std::vector<std::string> all = {"-C", path("."), shell};
      all.insert(all.end(), arguments.begin(), arguments.end());
      return all;
    }());
    EXPECT_EQ(result.err, "");
    Words words;
    std::istringstream lines(result.out);
    for (std::string word; std::getline(lines, word);) {
      if (!word.empty()) words.insert(word);
    }
    return words;
  }

  /// What bash offers once `line` is typed, whose last word is being completed.
  Words bash(const std::vector<std::string>& line) {
    std::vector<std::string> arguments = {
        "--norc", "-u", "-c",
        "source quel.bash && COMP_WORDS=(\"$@\") && COMP_CWORD=$(($# - 1)) && _quel && "
        "printf '%s\\n' \"${COMPREPLY[@]-}\"",
        "bash"};
    arguments.insert(arguments.end(), line.begin(), line.end());
    return lines_of("bash", arguments);
  }

  /// What fish offers for a line, without the descriptions.
  Words fish(const std::string& line) {
    Words words;
    const auto told = lines_of("env", {"HOME=" + path("."), "fish", "--no-config", "-c",
                                       "source quel.fish; complete -C \"$argv[1]\"", line});
    for (const std::string& word : told) words.insert(word.substr(0, word.find('\t')));
    return words;
  }

  /// What the script hands to _arguments and _describe of zsh, a line each.
  Words zsh(const std::vector<std::string>& line) {
    std::vector<std::string> arguments = {
        "-f", "-c",
        "_arguments() { print -rl -- \"$@\"; state=${STATE}; }\n"
        "_describe() { print -rl -- \"${commands[@]}\"; }\n"
        "words=(\"$@\"); CURRENT=$#; STATE=arguments; (( $# )) || STATE=command; source quel.zsh",
        "zsh"};
    arguments.insert(arguments.end(), line.begin(), line.end());
    return lines_of("zsh", arguments);
  }

  void expect_sound_for(const std::string& shell) {
    const auto result = test::run_program(
        "/usr/bin/env", {"HOME=" + path("."), shell, "-n", path("quel." + shell)});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
  }
};

#define NEEDS(shell) \
  if (!test::has_program(shell)) GTEST_SKIP() << "no " << shell

TEST_F(Completion, BashFindsItsScriptSound) {
  expect_sound_for("bash");
}
TEST_F(Completion, ZshFindsItsScriptSound) {
  NEEDS("zsh");
  expect_sound_for("zsh");
}
TEST_F(Completion, FishFindsItsScriptSound) {
  NEEDS("fish");
  expect_sound_for("fish");
}

TEST_F(Completion, BashOffersEveryCommandAndEveryOption) {
  EXPECT_THAT(bash({"quel", ""}), ::testing::IsSupersetOf(commands_of_help()));
  EXPECT_THAT(bash({"quel", "-"}), Contains("--version"));
  EXPECT_EQ(bash({"quel", "enc"}), Words{"encode"});
  for (const std::string& command : commands_of_help()) {
    EXPECT_EQ(bash({"quel", command, "-"}), options_of_help(command)) << command;
  }
}

TEST_F(Completion, BashOffersFixedValues) {
  EXPECT_EQ(bash({"quel", "eval", "--conceal", ""}), (Words{"deferred", "immediate"}));
  EXPECT_EQ(bash({"quel", "eval", "--conceal", "d"}), Words{"deferred"});
  EXPECT_EQ(bash({"quel", "eval", "--conceal", "=", "d"}), Words{"deferred"});
  EXPECT_EQ(bash({"quel", "eval", "--conceal", "="}), (Words{"deferred", "immediate"}));
  EXPECT_EQ(bash({"quel", "mux", "--flavor", "1"}), (Words{"16k"}));
  EXPECT_EQ(bash({"quel", "mux", "--flavor", ""}), (Words{"16k", "5k", "6k5", "8k5"}));
  EXPECT_EQ(bash({"quel", "eval", "--flavor", "5k,8"}), Words{"5k,8k5"});
}

TEST_F(Completion, BashOffersFilesWhereFilesAreDue) {
  EXPECT_EQ(bash({"quel", "info", "sou"}), (Words{"sound one.wav", "sounds"}));
  EXPECT_EQ(bash({"quel", "eval", "--json", "sound "}), Words{"sound one.wav"});
  EXPECT_EQ(bash({"quel", "encode", "--output-dir", "sou"}), Words{"sounds"});
  EXPECT_THAT(bash({"quel", "encode", "--gain", ""}), IsEmpty());
  EXPECT_THAT(bash({"quel", "selftest", ""}), IsEmpty());
  EXPECT_THAT(bash({"quel", "nothing", "-"}), IsEmpty());
}

TEST_F(Completion, FishOffersEveryCommandAndEveryOption) {
  NEEDS("fish");
  const Words first = fish("quel ");
  EXPECT_EQ(first, commands_of_help());
  EXPECT_THAT(fish("quel --v"), Contains("--version"));
  for (const std::string& command : commands_of_help()) {
    Words all = fish("quel " + command + " -");
    all.merge(fish("quel " + command + " --"));
    // Besides, fish offers groups of short options.
    EXPECT_THAT(all, ::testing::IsSupersetOf(options_of_help(command))) << command;
  }
  EXPECT_THAT(fish("quel dump --out"), IsEmpty());
}

TEST_F(Completion, FishOffersValuesAndFiles) {
  NEEDS("fish");
  EXPECT_EQ(fish("quel eval --conceal "), (Words{"deferred", "immediate"}));
  EXPECT_EQ(fish("quel mux --flavor=1"), (Words{"--flavor=16k"}));
  EXPECT_EQ(fish("quel eval --flavor 5k,8"), Words{"5k,8k5"});
  EXPECT_EQ(fish("quel info sou"), (Words{"sound one.wav", "sounds/"}));
  EXPECT_EQ(fish("quel encode --output-dir sou"), Words{"sounds/"});
  EXPECT_THAT(fish("quel encode --gain "), IsEmpty());
}

TEST_F(Completion, ZshIsToldEveryCommandAndEveryOption) {
  NEEDS("zsh");
  Words commands;
  for (const std::string& line : zsh({})) {
    if (std::islower(static_cast<unsigned char>(line[0])) != 0) {
      commands.insert(line.substr(0, line.find(':')));
    }
  }
  EXPECT_EQ(commands, commands_of_help());
  for (const std::string& command : commands_of_help()) {
    std::string all;
    for (const std::string& line : zsh({command, ""})) all += line + "\n";
    // "(-f --force)--force[...", "*--comment=[..." and "(...)--gain=[...".
    const Words told = test::matches(all, "[)*](--?[a-zA-Z0-9][a-z-]*)[=+]?\\[");
    EXPECT_EQ(told, options_of_help(command));
  }
}

TEST_F(Completion, ZshIsToldValuesAndFiles) {
  NEEDS("zsh");
  const Words eval = zsh({"eval", ""});
  EXPECT_THAT(eval, Contains(HasSubstr(":immediate|deferred:(immediate deferred)")));
  EXPECT_THAT(eval, Contains(HasSubstr(":_sequence compadd - 5k 6k5 8k5 16k")));
  EXPECT_THAT(eval,
              Contains(HasSubstr("--html=[write a page with players and pictures]:FILE:_files")));
  EXPECT_THAT(eval, Contains(":input:_files"));
  EXPECT_THAT(zsh({"encode", ""}), Contains(HasSubstr(":FOLDER:_files -/")));
  EXPECT_THAT(zsh({"encode", ""}), Contains("*:files:_files"));
}

TEST(CompletionText, QuotesSurviveEveryShell) {
  CLI::App app{"about"};
  app.name("p");
  std::string value;
  app.add_subcommand("c", "it's [all]: a\\b")->add_option("--x", value, "one's: [x]");
  EXPECT_THAT(zsh_completion(app), HasSubstr("'c:it'\\''s \\[all\\]\\: a\\\\b'"));
  EXPECT_THAT(zsh_completion(app), HasSubstr("[one'\\''s\\: \\[x\\]]"));
  EXPECT_THAT(fish_completion(app), HasSubstr("-d 'it\\'s [all]: a\\\\b'"));
}

TEST(CompletionText, HiddenOptionsStayHidden) {
  CLI::App app{"about"};
  app.name("p");
  bool flag = false;
  app.add_flag("--secret", flag, "x")->group("");
  for (const std::string& script :
       {bash_completion(app), zsh_completion(app), fish_completion(app)}) {
    EXPECT_THAT(script, Not(HasSubstr("secret")));
  }
}

}  // namespace
}  // namespace quel::tools
