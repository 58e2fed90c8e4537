#include "tools/jobs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "support/signals.h"
#include "tools/audio_file.h"
#include "tools/file_error.h"
#include "tools/quality.h"
#include "tools/quel_file.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using test::Bytes;
using test::load_audio;
using test::loud_speech;
using test::read_bytes;
using test::write_audio;
using test::write_bytes;
using ::testing::ElementsAre;

using Pcm = std::vector<std::int16_t>;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
constexpr int rates[] = {8000, 8000, 8000, 16000};
constexpr std::size_t unit_bytes[] = {29, 19, 37, 20};

class Jobs : public test::ToolTest, public ::testing::WithParamInterface<int> {
 protected:
  int flavor() const { return GetParam(); }
  int rate() const { return rates[flavor()]; }
  std::size_t unit() const { return unit_bytes[flavor()]; }

  void encode(const Pcm& pcm) {
    write_audio(path("in.wav"), wav16, rate(), 1, pcm);
    run_encode({path("in.wav"), path("c"), flavor(), true});
  }
  /// Decodes "c" to "out.wav" and keeps the messages.
  bool decode(const DecodeOptions& options = {}, bool report = false) {
    std::ostringstream log;
    const bool complete = run_decode({path("c"), path("out.wav"), report, options, true}, log);
    log_ = log.str();
    return complete;
  }
  Pcm decoded() const { return load_audio(path("out.wav")).samples; }

  std::string log_;
};
INSTANTIATE_TEST_SUITE_P(Flavors, Jobs, ::testing::Range(0, 4));

TEST_P(Jobs, TheLengthIsTheSources) {
  for (const int samples : {0, 1, 79, 80, 81, 143, 144, 145, 288, 480, 2000}) {
    SCOPED_TRACE(samples);
    encode(loud_speech(samples, 1, rate()));
    EXPECT_TRUE(decode());
    const test::Audio audio = load_audio(path("out.wav"));
    EXPECT_EQ(audio.samples.size(), static_cast<std::size_t>(samples));
    EXPECT_EQ(audio.rate, rate());
    EXPECT_EQ(audio.channels, 1);
    EXPECT_EQ(audio.format, wav16);
    EXPECT_EQ(log_, "");
  }
}

TEST_P(Jobs, TheFileIsAHeaderAndWholeUnits) {
  encode(loud_speech(2000, 1, rate()));
  EXPECT_EQ(read_bytes(path("c")).size(), 10 + unit() * unit_count({flavor(), 2000}));
}

TEST_P(Jobs, SpeechComesBackInItsPlace) {
  const Pcm pcm = loud_speech(rate(), 2, rate());
  encode(pcm);
  EXPECT_TRUE(decode());
  const Pcm out = decoded();
  ASSERT_EQ(out.size(), pcm.size());
  const auto ref = reference(flavor(), pcm);
  const double aligned = snr_figures(ref, out, rate())->snr;
  // A misplaced signal has about -3 dB.
  EXPECT_GT(aligned, 3.0);
  for (const std::size_t shift : {1u, 5u, 80u, 120u, 240u}) {
    const std::span<const float> later = std::span(ref).subspan(shift);
    const std::span<const float> earlier = std::span(ref).first(ref.size() - shift);
    EXPECT_LT(snr_figures(later, std::span(out).first(later.size()), rate())->snr, aligned);
    EXPECT_LT(snr_figures(earlier, std::span(out).subspan(shift), rate())->snr, aligned);
  }
}

TEST_P(Jobs, FileAndMemoryGiveTheSame) {
  // The jobs work unit by unit through files, the measuring program in memory: same figures.
  const Pcm pcm = loud_speech(rate() / 2, 3, rate());
  encode(pcm);
  const DecodeOptions options{Concealment::immediate, 20.0, 7};
  EXPECT_TRUE(decode(options, true));
  const Trial trial = try_codec(flavor(), pcm, options);
  EXPECT_EQ(trial.bytes + 10, read_bytes(path("c")).size());
  const auto figures = snr_figures(reference(flavor(), pcm), decoded(), rate());
  EXPECT_EQ(figures->snr, trial.figures->snr);
  EXPECT_EQ(log_, "quel: " + path("c") + ": " + std::to_string(trial.lost) + " of " +
                      std::to_string(trial.frames) + " frames lost\n");
  EXPECT_GT(trial.lost, 0u);
}

TEST_P(Jobs, AnyRateAndChannels) {
  const Pcm mono = loud_speech(44100 / 2, 4, 44100.0);
  Pcm stereo;
  for (const std::int16_t x : mono) stereo.insert(stereo.end(), {x, x});
  write_audio(path("in.flac"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 44100, 2, stereo);
  run_encode({path("in.flac"), path("c"), flavor(), false});
  EXPECT_TRUE(decode());
  const Pcm resampled = read_audio(path("in.flac"), rate());
  EXPECT_EQ(decoded().size(), static_cast<std::size_t>(rate() / 2));
  EXPECT_EQ(resampled.size(), decoded().size());
  EXPECT_GT(snr_figures(reference(flavor(), resampled), decoded(), rate())->snr, 3.0);
}

TEST_P(Jobs, ATruncatedFileDecodesUpToTheCutAndSaysSo) {
  encode(loud_speech(4000, 5, rate()));
  EXPECT_TRUE(decode());
  const Pcm whole = decoded();
  Bytes bytes = read_bytes(path("c"));
  const std::uint32_t units = unit_count({flavor(), 4000});
  bytes.resize(10 + 3 * unit() + unit() / 2);
  write_bytes(path("c"), bytes);
  EXPECT_FALSE(decode());
  const Pcm cut = decoded();
  constexpr std::size_t unit_samples[] = {288, 144, 480, 160}, delay[] = {120, 120, 360, 80};
  ASSERT_EQ(cut.size(), 3 * unit_samples[flavor()] - delay[flavor()]);
  EXPECT_EQ(cut, Pcm(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut.size())));
  EXPECT_EQ(log_, "quel: " + path("c") + ": cut short: 3 of " + std::to_string(units) +
                      " units, decoded " + std::to_string(cut.size()) + " of 4000 samples\n");
}

TEST_P(Jobs, AHeaderAloneIsACutFile) {
  encode(loud_speech(4000, 5, rate()));
  Bytes bytes = read_bytes(path("c"));
  bytes.resize(10);
  write_bytes(path("c"), bytes);
  EXPECT_FALSE(decode());
  EXPECT_EQ(decoded().size(), 0u);
}

TEST_P(Jobs, BytesAfterTheLastUnitAreIgnoredAndSaid) {
  encode(loud_speech(1000, 6, rate()));
  EXPECT_TRUE(decode());
  const Pcm before = decoded();
  Bytes bytes = read_bytes(path("c"));
  bytes.resize(bytes.size() + 100);
  write_bytes(path("c"), bytes);
  EXPECT_TRUE(decode());
  EXPECT_EQ(decoded(), before);
  EXPECT_EQ(log_, "quel: " + path("c") + ": bytes after the last unit are ignored\n");
}

TEST_P(Jobs, HostileUnitsDecodeToTheHeadersLength) {
  Bytes bytes(10 + 50 * unit());
  test::Random random(7);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random.bits());
  const auto header = pack_header({flavor(), 4000});
  std::copy(header.begin(), header.end(), bytes.begin());
  write_bytes(path("c"), bytes);
  for (const Concealment concealment : {Concealment::immediate, Concealment::deferred}) {
    EXPECT_TRUE(decode({concealment, 30.0, 1}));
    EXPECT_EQ(decoded().size(), 4000u);
  }
}

TEST_P(Jobs, LossesDependOnTheSeedAlone) {
  encode(loud_speech(4000, 8, rate()));
  decode({Concealment::immediate, 25.0, 1});
  const Pcm first = decoded();
  decode({Concealment::immediate, 25.0, 1});
  EXPECT_EQ(decoded(), first);
  decode({Concealment::immediate, 25.0, 2});
  EXPECT_NE(decoded(), first);
}

TEST_P(Jobs, LosingNothingChangesNothing) {
  encode(loud_speech(4000, 8, rate()));
  decode();
  const Pcm plain = decoded();
  for (const Concealment concealment : {Concealment::immediate, Concealment::deferred}) {
    decode({concealment, 0.0, 1}, true);
    EXPECT_EQ(decoded(), plain);
    EXPECT_THAT(log_, ::testing::HasSubstr(": 0 of "));
  }
}

TEST_P(Jobs, LosingEverythingStillHasTheLength) {
  encode(loud_speech(4000, 8, rate()));
  for (const Concealment concealment : {Concealment::immediate, Concealment::deferred}) {
    EXPECT_TRUE(decode({concealment, 100.0, 1}));
    EXPECT_EQ(decoded().size(), 4000u);
  }
}

TEST_P(Jobs, AFailureLeavesNoOutput) {
  write_bytes(path("bad"), Bytes(100, 'x'));
  EXPECT_THROW(run_encode({path("bad"), path("out"), flavor(), false}), FileError);
  std::ostringstream log;
  EXPECT_THROW(run_decode({path("bad"), path("out"), false, {}, false}, log), FileError);
  EXPECT_THAT(names(), ElementsAre("bad"));
}

TEST(LossPattern, LosesTheShareAskedFor) {
  for (const double percent : {1.0, 5.0, 50.0, 99.0}) {
    LossPattern losses(percent, 42);
    int lost = 0;
    for (int i = 0; i < 100000; ++i) lost += losses.lost() ? 1 : 0;
    EXPECT_NEAR(lost, 1000.0 * percent, 600.0);  // about four deviations of the widest
  }
}

TEST(LossPattern, TheEndsAreExact) {
  LossPattern none(0.0, 0), all(100.0, 0);
  for (int i = 0; i < 10000; ++i) {
    ASSERT_FALSE(none.lost());
    ASSERT_TRUE(all.lost());
  }
}

}  // namespace
}  // namespace quel::tools
