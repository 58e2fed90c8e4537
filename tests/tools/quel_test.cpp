// The program quel as a shell user meets it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>

#include <filesystem>
#include <string>
#include <vector>

#include "tools/tool_support.h"

namespace quel::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class Quel : public ToolTest {
 protected:
  ProgramResult quel(const std::vector<std::string>& arguments) {
    return run_program(QUEL_PROGRAM, arguments);
  }
  void make_input(int samples = 8000) {
    write_audio(path("in.wav"), wav16, 8000, 1, loud_speech(samples, 1));
  }
  void make_coded(int samples = 8000) {
    make_input(samples);
    ASSERT_EQ(quel({"encode", path("in.wav"), path("c"), "--flavor", "1"}).status, 0);
  }
};

TEST_F(Quel, EncodesAndDecodesWithoutAWord) {
  make_input();
  for (const std::string flavor : {"0", "1", "2", "3"}) {
    SCOPED_TRACE(flavor);
    ProgramResult result = quel({"encode", path("in.wav"), path("c" + flavor), "--flavor", flavor});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
    result = quel({"decode", path("c" + flavor), path(flavor + ".wav")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out + result.err, "");
    const Audio audio = load_audio(path(flavor + ".wav"));
    EXPECT_EQ(audio.rate, flavor == "3" ? 16000 : 8000);
    EXPECT_EQ(audio.samples.size(), flavor == "3" ? 16000u : 8000u);
  }
}

TEST_F(Quel, HelpAndVersionSucceedOnStandardOutput) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--help"}, {"encode", "--help"}, {"decode", "-h"}}) {
    const ProgramResult result = quel(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("Usage:"));
    EXPECT_EQ(result.err, "");
  }
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"--version"}, {"-V"}, {"encode", "-V"}, {"decode", "--version"}, {"eval", "-V"}}) {
    const ProgramResult result = quel(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, MatchesRegex("quel [0-9]+\\.[0-9]+\\.[0-9]+\n"));
  }
}

TEST_F(Quel, HelpSaysWhatDamageDoesToTheStatus) {
  const auto help = [&](const std::string& command) {
    std::string text = quel({command, "-h"}).out;
    std::replace(text.begin(), text.end(), '\n', ' ');  // its lines end where a terminal's do
    return text;
  };
  EXPECT_THAT(help("decode"), HasSubstr("the exit status is 1"));
  EXPECT_THAT(help("demux"), HasSubstr("the exit status is 1"));
  EXPECT_THAT(help("info"), HasSubstr("The exit status is 0 where a file is damaged"));
  EXPECT_THAT(help("dump"), HasSubstr("the exit status is 0"));
}

TEST_F(Quel, WrongUseIsStatusTwoAndTouchesNothing) {
  const std::vector<std::vector<std::string>> calls = {
      {},
      {"transcode", "a", "b"},
      {"encode"},
      {"encode", "a"},
      {"encode", "a", "b", "--flavor"},
      {"encode", "a", "b", "--flavor", "4"},
      {"encode", "a", "b", "--flavor", "-1"},
      {"encode", "a", "b", "--flavor", "1.5"},
      {"encode", "a", "b", "c", "--flavor", "1"},
      {"encode", "a", "b", "--flavor", "1", "--loss", "5"},
      {"encode", "a", "b", "--channel", "0"},
      {"encode", "a", "b", "--gain", "nan"},
      {"encode", "a", "b", "--comment", "no value"},
      {"encode", "a", "b", "--comment", "=x"},
      {"encode", "a", "b", "--packet-ms", "0"},
      {"encode", "a", "b", "--page-ms", "60001"},
      {"encode", "a", "b", "--raw", "--comment", "A=b"},
      {"encode", "a", "b", "--raw", "--page-ms", "100"},
      {"encode", "a", "b", "--raw-chan", "2"},
      {"encode", "a", "b", "--raw-endianness", "big"},
      {"encode", "a", "b", "--raw-rate", "8000", "--raw-endianness", "middle"},
      {"encode", "a", "b", "--raw-rate", "999"},
      {"encode", "a", "b", "--jobs", "2"},
      {"encode", "a", "b", "--manifest", "m"},
      {"encode", "--output-dir", path("o")},
      {"encode", "-", "--output-dir", path("o")},
      {"encode", "/", "b"},
      {"decode", "a"},
      {"decode", "a", "b", "--loss", "101"},
      {"decode", "a", "b", "--loss", "-1"},
      {"decode", "a", "b", "--loss", "nan"},
      {"decode", "a", "b", "--loss", "many"},
      {"decode", "a", "b", "--loss-burst", "5"},
      {"decode", "a", "b", "--loss-burst", "5,0"},
      {"decode", "a", "b", "--loss-burst", "90%,2"},
      {"decode", "a", "b", "--loss", "5", "--loss-burst", "5,2"},
      {"decode", "a", "b", "--loss", "5", "--loss-file", "l"},
      {"decode", "a", "b", "--raw"},
      {"decode", "a", "b", "--rate", "0"},
      {"decode", "a", "b", "--format", "mp3"},
      {"decode", "a", "b", "--raw-endianness", "big"},
      {"decode", "a", "b", "--seed", "x"},
      {"decode", "a", "b", "--seed", "-1"},
      {"decode", "a", "b", "--conceal", "never"},
      {"decode", "a", "b", "--start", "-1"},
      {"decode", "a", "b", "--start", "nan"},
      {"decode", "a", "b", "--length", "1e10"},
      {"decode", "a", "b", "--jobs", "0", "--output-dir", path("o")},
      {"decode", "a", "b", "--flavor", "1"}};
  for (const auto& arguments : calls) {
    const ProgramResult result = quel(arguments);
    EXPECT_EQ(result.status, 2) << ::testing::PrintToString(arguments);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err, "");
  }
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(Quel, FailuresNameFileAndCauseWithStatusOne) {
  ProgramResult result = quel({"encode", path("none"), path("c"), "--flavor", "0"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "quel: " + path("none") + ": No such file or directory\n");
  EXPECT_EQ(result.out, "");
  result = quel({"decode", path("none"), path("out.wav")});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "quel: " + path("none") + ": No such file or directory\n");
  EXPECT_THAT(names(), IsEmpty());

  make_input();
  result = quel({"decode", path("in.wav"), path("out.wav")});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "quel: " + path("in.wav") + ": not a file made by quel encode\n");
  result = quel({"encode", path("in.wav"), path("no/c"), "--flavor", "0"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "quel: " + path("no/c") + ": No such file or directory\n");
  EXPECT_THAT(names(), ElementsAre("in.wav"));
}

TEST_F(Quel, KeepsAnExistingFileUnlessForced) {
  make_coded();
  const Bytes coded = read_bytes(path("c"));
  ProgramResult result = quel({"encode", path("in.wav"), path("c"), "--flavor", "0"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "quel: " + path("c") + ": exists already (--force replaces it)\n");
  EXPECT_EQ(read_bytes(path("c")), coded);
  for (const std::string force : {"-f", "--force"}) {
    EXPECT_EQ(quel({"encode", path("in.wav"), path("c"), "--flavor", "0", force}).status, 0);
    EXPECT_NE(read_bytes(path("c")), coded);
    EXPECT_EQ(quel({"decode", path("c"), path("out.wav"), force}).status, 0);
  }
  EXPECT_EQ(quel({"decode", path("c"), path("out.wav")}).status, 1);
}

TEST_F(Quel, AFullDiskLeavesNoHalfFile) {
  make_coded(80000);
  // SIGXFSZ ignored, so that the write fails as on a full disk.
  const std::string limit = "trap '' XFSZ && ulimit -f 8";
  const ProgramResult result =
      run_program_limited(limit, QUEL_PROGRAM, {"decode", path("c"), path("out.wav")});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "quel: " + path("out.wav") + ": File too large\n");
  EXPECT_THAT(names(), ElementsAre("c", "in.wav"));
}

TEST_F(Quel, LossesAreReportedOnStandardError) {
  make_coded();
  const ProgramResult result =
      quel({"decode", path("c"), path("out.wav"), "--loss", "20", "--seed", "3"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, MatchesRegex("quel: .*/c: [1-9][0-9]* of 57 frames lost\n"));
  const auto lost = [&](const std::vector<std::string>& arguments) {
    std::vector<std::string> all = {"decode", path("c"), path("out.wav"), "-f"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const ProgramResult lossy = quel(all);
    EXPECT_EQ(lossy.status, 0) << lossy.err;
    return lossy.err;
  };
  EXPECT_EQ(lost({"--loss", "20%", "--seed", "3"}), result.err);
  EXPECT_THAT(lost({"--loss-burst", "30%,4"}), HasSubstr(" of 57 frames lost"));
  write_bytes(path("l"), {'1', '0', '0', '\n'});
  EXPECT_THAT(lost({"--loss-file", path("l")}), HasSubstr(": 19 of 57 frames lost"));
  EXPECT_EQ(quel({"decode", path("c"), path("o"), "--loss-file", path("none")}).err,
            "quel: " + path("none") + ": No such file or directory\n");
}

TEST_F(Quel, ConcealmentIsChosen) {
  make_coded();
  const std::vector<std::string> lossy = {"decode", path("c"), path("o"), "-f", "--loss", "20"};
  const auto with = [&](const std::string& concealment) {
    std::vector<std::string> arguments = lossy;
    if (!concealment.empty()) arguments.insert(arguments.end(), {"--conceal", concealment});
    EXPECT_EQ(quel(arguments).status, 0);
    return read_bytes(path("o"));
  };
  const Bytes immediate = with("immediate");
  EXPECT_EQ(with(""), immediate);
  EXPECT_NE(with("deferred"), immediate);
  EXPECT_NE(with("none"), immediate);
  EXPECT_NE(with("none"), with("deferred"));
}

TEST_F(Quel, ACutFileIsDecodedWithStatusOne) {
  make_coded();
  Bytes bytes = read_bytes(path("c"));
  bytes.resize(bytes.size() - 1);
  write_bytes(path("c"), bytes);
  const ProgramResult result = quel({"decode", path("c"), path("out.wav")});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("quel: " + path("c") + ": cut short: decoded 0 samples\n"));
  EXPECT_EQ(load_audio(path("out.wav")).samples.size(), 0u);
}

}  // namespace
}  // namespace quel::test
