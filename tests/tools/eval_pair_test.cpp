#include "tools/eval_pair.h"

#include <gmock/gmock.h>
#include <sndfile.h>

#include <cmath>

#include "tools/audio_file.h"
#include "tools/eval_spectral.h"
#include "tools/quality.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using ::testing::HasSubstr;
using Pcm = std::vector<std::int16_t>;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class EvalPair : public test::ToolTest {
 protected:
  PairReport compare() { return compare_files(path("ref.wav"), path("out.wav")); }
  test::ProgramResult quel(const std::vector<std::string>& arguments) {
    return test::run_program(QUEL_PROGRAM, arguments);
  }
};

TEST_F(EvalPair, TheDelayIsFoundToTheSampleEitherWay) {
  const Pcm pcm = test::loud_speech(24000, 1);
  test::write_audio(path("ref.wav"), wav16, 8000, 1, pcm);
  for (const int delay : {0, 1, 120, 7999, 15000, -1, -333, -9000}) {
    SCOPED_TRACE(delay);
    Pcm moved(static_cast<std::size_t>(std::max(0, delay)));
    moved.insert(moved.end(), pcm.begin() + std::max(0, -delay), pcm.end());
    test::write_audio(path("out.wav"), wav16, 8000, 1, moved);
    const PairReport report = compare();
    EXPECT_EQ(report.delay.samples, delay);
    EXPECT_DOUBLE_EQ(report.delay.correlation, 1.0);
    EXPECT_EQ(report.seconds, (24000 - std::max(0, -delay)) / 8000.0);
    EXPECT_FALSE(report.snr);  // nothing differs
    EXPECT_EQ(report.distortion, 0.0);
    EXPECT_NEAR(report.intelligible->stoi, 1.0, 1e-9);  // sums of doubles
  }
}

TEST_F(EvalPair, TheFiguresAreThoseOfTheRoutinesOverWholeSignals) {
  const Pcm pcm = test::loud_speech(40000, 2, 16000.0);
  Pcm other = pcm;
  for (std::size_t n = 0; n < other.size(); ++n) {
    other[n] = static_cast<std::int16_t>(0.7 * other[n] + (n % 7 == 0 ? 150 : -20));
  }
  test::write_audio(path("ref.wav"), wav16, 16000, 1, pcm);
  test::write_audio(path("out.wav"), wav16, 16000, 1, other);
  const PairReport report = compare();
  const std::vector<float> ref(pcm.begin(), pcm.end()), test(other.begin(), other.end());
  EXPECT_EQ(report.delay.samples, 0);
  EXPECT_EQ(report.snr, snr_figures(ref, other, 16000)->snr);
  EXPECT_EQ(report.segmental, snr_figures(ref, other, 16000)->segmental);
  EXPECT_EQ(report.distortion, log_spectral_distortion(ref, test, 16000));
  EXPECT_EQ(report.intelligible->stoi, intelligibility(ref, test, 16000)->stoi);
  EXPECT_EQ(report.intelligible->estoi, intelligibility(ref, test, 16000)->estoi);
}

TEST_F(EvalPair, TheLowerRateCounts) {
  test::write_audio(path("ref.wav"), wav16, 48000, 1, test::loud_speech(96000, 3, 48000.0));
  test::write_audio(path("out.wav"), wav16, 8000, 1, read_audio(path("ref.wav"), 8000));
  const PairReport report = compare();
  EXPECT_EQ(report.rate, 8000);
  EXPECT_EQ(report.delay.samples, 0);
  EXPECT_EQ(report.seconds, 2.0);
  EXPECT_FALSE(report.snr);
}

TEST_F(EvalPair, AsAShellUserRunsIt) {
  // 16 kbit/s, which turns no phases: the others come out a sample early.
  test::write_audio(path("ref.wav"), wav16, 16000, 1, test::loud_speech(48000, 1, 16000.0));
  ASSERT_EQ(quel({"encode", path("ref.wav"), path("c")}).err, "");
  ASSERT_EQ(quel({"decode", path("c"), path("out.wav")}).err, "");
  const test::ProgramResult text =
      quel({"eval", "--reference", path("ref.wav"), "--decoded", path("out.wav")});
  EXPECT_EQ(text.err, "");
  EXPECT_THAT(text.out, HasSubstr("delay     0 samples at 16000 Hz, 0.00 ms (correlation 0."));
  const test::ProgramResult json =
      quel({"eval", "--reference", path("ref.wav"), "--decoded", path("out.wav"), "--json", "-"});
  EXPECT_THAT(json.out, HasSubstr("\"delay_samples\": 0,\n"));
  EXPECT_EQ(quel({"eval", "--reference", path("ref.wav")}).status, 2);
  EXPECT_EQ(
      quel({"eval", path("ref.wav"), "--reference", path("ref.wav"), "--decoded", path("out.wav")})
          .status,
      2);
  EXPECT_EQ(quel({"eval"}).status, 2);
  EXPECT_EQ(quel({"eval", "--reference", "none", "--decoded", path("out.wav")}).err,
            "quel: none: No such file or directory\n");
}

}  // namespace
}  // namespace quel::tools
