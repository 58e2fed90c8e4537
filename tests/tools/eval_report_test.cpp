#include "tools/eval_report.h"

#include <gmock/gmock.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "tools/file_error.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class EvalReportTest : public test::ToolTest {
 protected:
  /// A recording of n samples at 16 kHz.
  std::string speech(int n) {
    test::write_audio(path("s.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 1,
                      test::loud_speech(n, 1, 16000.0));
    return path("s.wav");
  }
};

// Half of the recording is a pause: it costs less, and nothing that is measured in the speech.
TEST_F(EvalReportTest, PausesThatAreNotSentSaveBitsAndLittleElse) {
  std::vector<std::int16_t> sound = test::loud_speech(32000, 1, 16000.0);
  sound.resize(96000, 0);
  test::write_audio(path("p.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 1, sound);
  EvalSettings settings;
  settings.input = path("p.wav");
  settings.dtx = true;
  const EvalReport report = evaluate(settings);
  ASSERT_EQ(report.results.size(), 8u);
  for (std::size_t i = 0; i < 8; i += 2) {
    SCOPED_TRACE(i);
    const EvalResult &all = report.results[i], &sparse = report.results[i + 1];
    EXPECT_FALSE(all.dtx);
    EXPECT_EQ(all.trial.unsent, 0u);
    EXPECT_TRUE(sparse.dtx);
    EXPECT_GT(sparse.trial.unsent, all.trial.frames / 4);
    EXPECT_LT(figures(sparse).bit_rate, 0.75 * figures(all).bit_rate);
    // The pause is digital silence and nothing follows it, so that only the faint end of the speech
    // can differ: a segment or two of a hundred.
    EXPECT_NEAR(*figures(sparse).segmental, *figures(all).segmental, 0.2);
    EXPECT_NEAR(*figures(sparse).stoi, *figures(all).stoi, 0.005);
  }
  EXPECT_THAT(text_table(report), HasSubstr("lost/frames not sent   bit/s"));
  EXPECT_THAT(json_report(report), HasSubstr("\"dtx\": true"));
}

TEST_F(EvalReportTest, EveryFlavorAtEveryLossRateInOrder) {
  EvalSettings settings;
  settings.input = speech(16000);
  settings.losses = {0.0, 20.0};
  const EvalReport report = evaluate(settings);
  EXPECT_EQ(report.seconds, 1.0);
  ASSERT_EQ(report.results.size(), 8u);
  for (std::size_t i = 0; i < 8; ++i) {
    SCOPED_TRACE(i);
    const EvalResult& result = report.results[i];
    EXPECT_EQ(result.flavor, static_cast<int>(i / 2));
    EXPECT_EQ(result.loss_percent, i % 2 == 0 ? 0.0 : 20.0);
    EXPECT_EQ(result.trial.lost > 0, i % 2 == 1);
    EXPECT_TRUE(result.heard.empty());
    const EvalFigures values = figures(result);
    for (const auto& value :
         {values.snr, values.segmental, values.codec_snr, values.codec_segmental, values.distortion,
          values.stoi, values.estoi, values.encode_speed, values.decode_speed}) {
      ASSERT_TRUE(value);
      EXPECT_TRUE(std::isfinite(*value));
    }
    if (i % 2 == 0) continue;
    const EvalFigures clean = figures(report.results[i - 1]);
    EXPECT_EQ(values.bit_rate, clean.bit_rate);
    EXPECT_LT(*values.snr, *clean.snr);
    EXPECT_LT(*values.codec_segmental, *clean.codec_segmental);
    EXPECT_GT(*values.distortion, *clean.distortion);
    EXPECT_LT(*values.stoi, *clean.stoi);
    EXPECT_LT(*values.estoi, *clean.estoi);
  }
  EXPECT_NEAR(figures(report.results[6]).bit_rate, 16000.0, 1e-6);
}

TEST_F(EvalReportTest, EveryEffortInOrder) {
  EvalSettings settings;
  settings.input = speech(8000);
  settings.flavors = {1, 3};
  settings.efforts = {0, 2};
  settings.losses = {0.0, 20.0};
  const EvalReport report = evaluate(settings);
  ASSERT_EQ(report.results.size(), 8u);
  for (std::size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(report.results[i].flavor, i < 4 ? 1 : 3);
    EXPECT_EQ(report.results[i].effort, i / 2 % 2 == 0 ? 0 : 2);
    EXPECT_EQ(report.results[i].loss_percent, i % 2 == 0 ? 0.0 : 20.0);
  }
}

TEST_F(EvalReportTest, TheFiguresAreThoseOfTheirOwnRoutines) {
  EvalSettings settings;
  settings.input = speech(16000);
  settings.flavors = {3};
  settings.losses = {10.0};
  settings.seed = 5;
  settings.excerpt_seconds = 100.0;  // all of it
  const EvalReport report = evaluate(settings);
  const EvalResult& result = report.results.at(0);
  const auto& source = report.sources.at(16000);
  ASSERT_EQ(result.heard.size(), source.size());
  const std::vector<float> ref(source.begin(), source.end());
  const std::vector<float> test(result.heard.begin(), result.heard.end());
  // The overall ratio of `snr` is that of quality.h: silence matters to neither, and 0.01 a segment
  // is nothing beside speech. Its totals are floats: 1e-3 dB is 2e-4 of them.
  const auto plain = snr_figures(ref, result.heard, 16000);
  EXPECT_EQ(result.trial.figures->snr, plain->snr);
  EXPECT_NEAR(static_cast<double>(result.totals.snr), plain->snr, 1e-3);
  EXPECT_EQ(result.intelligible->stoi, intelligibility(ref, test, 16000)->stoi);
  // The same seed gives the same losses, another one others.
  EXPECT_EQ(evaluate(settings).results[0].heard, result.heard);
  settings.seed = 6;
  EXPECT_NE(evaluate(settings).results[0].heard, result.heard);
}

TEST_F(EvalReportTest, TheCodecsRoutineTakesAShorterLastSegment) {
  EvalSettings settings;
  settings.input = speech(3201);
  settings.flavors = {3};
  settings.excerpt_seconds = 1.0;
  const EvalReport report = evaluate(settings);
  const std::vector<std::int16_t>&x = report.sources.at(16000), &y = report.results[0].heard;
  double signal = 0.0, noise = 0.0;
  for (std::size_t n = 0; n < 3201; ++n) {
    signal += static_cast<double>(x[n]) * x[n];
    noise += std::pow(static_cast<double>(x[n]) - y[n], 2.0);
  }
  const SnrTotals& totals = report.results[0].totals;
  EXPECT_NEAR(static_cast<double>(totals.toten) / (signal + 11 * 0.01), 1.0, 1e-6);  // floats
  EXPECT_NEAR(static_cast<double>(totals.totnoise) / (noise + 11 * 0.01), 1.0, 1e-6);
}

TEST_F(EvalReportTest, LostFramesAreToldWhereTheirSoundLies) {
  EvalSettings settings;
  settings.input = speech(32000);
  settings.losses = {0.0, 15.0};
  settings.excerpt_seconds = 100.0;
  const EvalReport report = evaluate(settings);
  for (std::size_t i = 0; i < 8; i += 2) {
    SCOPED_TRACE(i);
    const EvalResult &clean = report.results[i], &lossy = report.results[i + 1];
    EXPECT_TRUE(clean.lost.empty());
    ASSERT_FALSE(lossy.lost.empty());
    const quel_flavor& info = *quel_flavor_info(lossy.flavor);
    double seconds = 0.0, last = -1.0;
    for (const LostSpan& span : lossy.lost) {
      EXPECT_GT(span.start, last);
      last = span.end;
      seconds += span.end - span.start;
    }
    // The first and the last frame may be cut by the ends of the sound.
    const double frame = static_cast<double>(info.samples_per_frame) / info.sampling_rate;
    EXPECT_LE(seconds, frame * lossy.trial.lost + 1e-9);
    EXPECT_GT(seconds, frame * (lossy.trial.lost - 2.0));
    // The sound changes where the first lost frame begins, and not before.
    const auto changed = std::mismatch(clean.heard.begin(), clean.heard.end(), lossy.heard.begin());
    const double at = static_cast<double>(changed.first - clean.heard.begin()) / info.sampling_rate;
    EXPECT_GE(at, lossy.lost.front().start - 1e-9);
    EXPECT_LT(at, lossy.lost.front().end);
  }
}

TEST_F(EvalReportTest, TheExcerptIsTheStart) {
  EvalSettings settings;
  settings.input = speech(16000);
  settings.flavors = {1, 3};
  settings.excerpt_seconds = 0.25;
  const EvalReport report = evaluate(settings);
  EXPECT_EQ(report.sources.at(8000).size(), 2000u);
  EXPECT_EQ(report.sources.at(16000).size(), 4000u);
  EXPECT_EQ(report.results[0].heard.size(), 2000u);
  EXPECT_EQ(report.results[1].heard.size(), 4000u);
  EXPECT_EQ(report.seconds, 1.0);
}

TEST_F(EvalReportTest, SilenceHasNoFiguresAndNothingIsRefused) {
  test::write_audio(path("silence.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1,
                    std::vector<std::int16_t>(8000));
  EvalSettings settings;
  settings.input = path("silence.wav");
  settings.flavors = {0};
  const EvalReport report = evaluate(settings);
  const EvalFigures values = figures(report.results.at(0));
  EXPECT_FALSE(values.snr || values.segmental || values.codec_snr || values.codec_segmental);
  EXPECT_FALSE(values.distortion || values.stoi || values.estoi);
  EXPECT_GT(values.bit_rate, 0.0);
  EXPECT_THAT(json_report(report), HasSubstr("\"stoi\": null"));
  EXPECT_THAT(text_table(report), HasSubstr(" - "));

  test::write_audio(path("empty.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1,
                    std::vector<std::int16_t>{});
  settings.input = path("empty.wav");
  EXPECT_THROW(evaluate(settings), FileError);
  settings.input = path("none.wav");
  EXPECT_THROW(evaluate(settings), FileError);
}

/// One made-up result.
EvalReport made_up() {
  EvalReport report;
  report.settings.input = "a \"b\"\n.wav";
  report.settings.seed = 7;
  report.seconds = 1.5;
  EvalResult result;
  result.flavor = 1;
  result.effort = 2;
  result.loss_percent = 2.5;
  result.trial.figures = SnrFigures{HUGE_VAL, 12.25, 50};
  result.trial.bytes = 1900;
  result.trial.coded_seconds = 1.75;
  result.trial.encode_seconds = 0.5;
  result.trial.frames = 100;
  result.trial.lost = 3;
  result.totals.cntsnr = 50.0f;
  result.totals.snr = 9.5f;
  result.totals.segsnr = 8.125f;
  result.distortion = 4.75;
  result.intelligible = Intelligibility{0.875, 0.75};
  report.results = {result, result};
  return report;
}

TEST(JsonReport, IsThisText) {
  const std::string result = R"({
      "flavor": 1,
      "name": "8.5",
      "effort": 2,
      "sampling_rate": 8000,
      "loss_percent": 2.5,
      "frames": 100,
      "lost": 3,
      "dtx": false,
      "not_sent": 0,
      "bytes": 1900,
      "bit_rate": 8685.714285714286,
      "snr_db": null,
      "segmental_snr_db": 12.25,
      "codec_snr_db": 9.5,
      "codec_segmental_snr_db": 8.125,
      "log_spectral_distortion_db": 4.75,
      "stoi": 0.875,
      "estoi": 0.75,
      "encode_speed": 3.5,
      "decode_speed": null
    })";
  EXPECT_EQ(json_report(made_up()),
            "{\n  \"input\": \"a \\\"b\\\"\\u000a.wav\",\n  \"seconds\": 1.5,\n  \"seed\": 7,\n"
            "  \"concealment\": \"immediate\",\n  \"results\": [\n    " +
                result + ",\n    " + result + "\n  ]\n}\n");
}

TEST(TextTable, HasAColumnForEachFigure) {
  const std::string table = text_table(made_up());
  std::istringstream lines(table);
  std::string header, line;
  std::getline(lines, header);
  std::getline(lines, line);
  EXPECT_EQ(line.size(), header.size());
  std::istringstream text(line);
  std::vector<std::string> words;
  for (std::string word; text >> word;) words.push_back(word);
  EXPECT_THAT(words, ElementsAre("8k5", "2", "2.5", "%", "3/100", "8686", "-", "12.25", "9.50",
                                 "8.12", "4.75", "0.875", "0.750", "4", "-"));
}

}  // namespace
}  // namespace quel::tools
