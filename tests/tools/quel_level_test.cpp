// Sound that would suffer without anybody noticing: what clips, and channels that cancel.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cmath>
#include <string>
#include <vector>

#include "tools/tool_support.h"

namespace quel::test {
namespace {

using ::testing::HasSubstr;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
constexpr int wav_float = SF_FORMAT_WAV | SF_FORMAT_FLOAT;

class QuelLevel : public ToolTest {
 protected:
  /// A line of shell in the test's folder, with the program as $Q.
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh",
                       {"-c", "cd \"$1\" && Q=\"$2\" && " + line, "sh", path(""), QUEL_PROGRAM});
  }
  /// Both channels, the second scaled by `factor`.
  void write_pair(const std::string& name, double factor, int rate = 8000) {
    std::vector<std::int16_t> joint;
    for (const std::int16_t x : loud_speech(rate, 1, rate)) {
      joint.push_back(x);
      joint.push_back(static_cast<std::int16_t>(std::lrint(factor * x)));
    }
    write_audio(path(name), wav16, rate, 2, joint);
  }
};

TEST_F(QuelLevel, GainThatClipsIsToldWithFigures) {
  // Half of full scale, so that 6.02 dB is the most.
  std::vector<float> half(8000, 0.1f);
  for (std::size_t n = 1000; n < 1010; ++n) half[n] = n % 2 == 0 ? 0.5f : -0.5f;
  write_audio(path("in.wav"), wav_float, 8000, 1, half);
  EXPECT_EQ(shell("$Q encode in.wav c --gain 6").err, "");
  const ProgramResult result = shell("$Q encode in.wav c -f --gain 9");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "quel: in.wav: clipped: 10 samples of 8000 are up to 3.0 dB above full scale; "
            "--gain 6.0 is the most that fits\n");
  EXPECT_EQ(shell("cat in.wav | $Q encode - c -f --gain 9").err,
            "quel: standard input: clipped: 10 samples of 8000 are up to 3.0 dB above full scale; "
            "--gain 6.0 is the most that fits\n");
}

TEST_F(QuelLevel, ASourceBeyondFullScaleClipsWithoutGainToo) {
  std::vector<float> loud(8000, 0.1f);
  loud[500] = 2.0f;
  write_audio(path("in.wav"), wav_float, 8000, 1, loud);
  EXPECT_EQ(
      shell("$Q encode in.wav c").err,
      "quel: in.wav: clipped: 1 sample of 8000 is 6.0 dB above full scale; --gain -6.1 is the "
      "most that fits\n");
  // What only reaches it does not, whatever a change of rate makes of it.
  std::vector<std::int16_t> square;
  for (int n = 0; n < 44100; ++n) square.push_back(n / 100 % 2 == 0 ? 32767 : -32768);
  write_audio(path("full.wav"), wav16, 44100, 1, square);
  EXPECT_EQ(shell("$Q encode full.wav c -f").err, "");
}

TEST_F(QuelLevel, DecodingWithGainTellsTheSame) {
  write_audio(path("in.wav"), wav16, 8000, 1, loud_speech(8000, 1));
  ASSERT_EQ(shell("$Q encode in.wav c && $Q decode c o.wav").err, "");
  const ProgramResult result = shell("$Q decode c o2.wav --gain 40");
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.err, HasSubstr("quel: c: clipped: "));
  EXPECT_THAT(result.err, HasSubstr(" dB above full scale; --gain "));
  EXPECT_EQ(shell("$Q decode c o3.wav --gain -3").err, "");
}

TEST_F(QuelLevel, ChannelsThatCancelEachOtherAreToldWithFigures) {
  write_pair("opposite.wav", -1.0);
  const ProgramResult result = shell("$Q encode opposite.wav c");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "quel: opposite.wav: its channels cancel each other, and their mean is silence; "
            "--channel 1 takes one of them, --channel each all\n");
  write_pair("nearly.wav", -0.9);
  EXPECT_THAT(shell("$Q encode nearly.wav c -f").err,
              HasSubstr("its channels cancel each other: their mean is 25.6 dB below them; "));
  // 20 log10((1 - 0.9) / 2) - 10 log10((1 + 0.81) / 2) = -25.6
  for (const double factor : {1.0, 0.5, 0.0, -0.3}) {
    write_pair("fair.wav", factor);
    EXPECT_EQ(shell("$Q encode fair.wav c -f").err, "") << factor;
  }
  EXPECT_EQ(shell("$Q encode opposite.wav c -f --channel 2 && "
                  "$Q encode opposite.wav e --channel each")
                .err,
            "");
}

}  // namespace
}  // namespace quel::test
