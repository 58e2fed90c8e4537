// What quel says of itself and of what it does not understand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <sstream>
#include <string>

#include "tools/nearest.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class HelpText : public ToolTest {
 protected:
  ProgramResult quel(const std::vector<std::string>& arguments) {
    return run_program(QUEL_PROGRAM, arguments);
  }
};

TEST_F(HelpText, AnUnknownCommandNamesTheNearest) {
  const std::string more = "\nRun with --help for more information.\n";
  EXPECT_EQ(quel({"encod", "a", "b"}).err, "encod is no command; did you mean encode?" + more);
  EXPECT_EQ(quel({"edcode"}).err, "edcode is no command; did you mean encode?" + more);
  EXPECT_THAT(quel({"transcode", "a", "b"}).err,
              HasSubstr("transcode is no command; the commands are encode, decode, play, "));
  EXPECT_EQ(quel({"encod"}).status, 2);
}

TEST_F(HelpText, AnUnknownOptionNamesTheNearest) {
  const std::string more = "\nRun with --help for more information.\n";
  EXPECT_EQ(quel({"encode", "a", "b", "--flavour", "8k5"}).err,
            "--flavour is no option of quel encode; did you mean --flavor?" + more);
  EXPECT_EQ(quel({"decode", "a", "b", "--concel=none"}).err,
            "--concel is no option of quel decode; did you mean --conceal?" + more);
  EXPECT_EQ(quel({"--versoin"}).err,
            "--versoin is no option of quel; did you mean --version?" + more);
  EXPECT_EQ(quel({"decode", "a", "b", "--bitrate", "5"}).err,
            "--bitrate is no option of quel decode" + more);
}

TEST(EditDistance, CountsWhatOneHasToType) {
  EXPECT_EQ(tools::edit_distance("", "abc"), 3u);
  EXPECT_EQ(tools::edit_distance("abc", "abc"), 0u);
  EXPECT_EQ(tools::edit_distance("abc", "acb"), 1u);
  EXPECT_EQ(tools::edit_distance("abc", "abcd"), 1u);
  EXPECT_EQ(tools::edit_distance("abc", "xbc"), 1u);
  EXPECT_EQ(tools::edit_distance("kitten", "sitting"), 3u);
}

TEST_F(HelpText, FlavorsHaveNamesRatesAndNumbers) {
  write_audio(path("in.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, loud_speech(800, 1));
  const char* const spellings[][4] = {{"0", "6.5", "6k5", "6K5"},
                                      {"1", "8.5", "8k5", "8K5"},
                                      {"2", "5", "5k", "5K"},
                                      {"3", "16", "16k", "16K"}};
  for (const auto& flavor : spellings) {
    Bytes first;
    for (const char* spelling : flavor) {
      ASSERT_EQ(quel({"encode", path("in.wav"), path("c"), "-f", "--flavor", spelling}).err, "");
      if (first.empty()) first = read_bytes(path("c"));
      EXPECT_EQ(read_bytes(path("c")), first) << spelling;
    }
  }
  const ProgramResult result = quel({"encode", path("in.wav"), path("d"), "--flavor", "7"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.err, HasSubstr("7 is no flavor; there are 6k5 (or 6.5, or number 0), 8k5 (or "
                                    "8.5, or number 1), 5k (or 5, or number 2), 16k (or 16, or "
                                    "number 3)"));
}

TEST_F(HelpText, LinesFitATerminalAndNothingIsRaw) {
  for (const std::string command :
       {"", "encode", "decode", "play", "info", "dump", "mux", "demux", "eval", "selftest"}) {
    std::vector<std::string> arguments;
    if (!command.empty()) arguments.push_back(command);
    arguments.push_back("--help");
    const std::string help = quel(arguments).out;
    EXPECT_THAT(help, Not(HasSubstr("Excludes:")));
    EXPECT_THAT(help, Not(HasSubstr("Needs:")));
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
  }
}

}  // namespace
}  // namespace quel::test
