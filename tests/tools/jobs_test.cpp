#include "tools/jobs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "support/signals.h"
#include "tools/audio_file.h"
#include "tools/file_error.h"
#include "tools/ogg_writer.h"
#include "tools/quality.h"
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
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Pcm = std::vector<std::int16_t>;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
constexpr int rates[] = {8000, 8000, 8000, 16000};
constexpr std::size_t unit_bytes[] = {29, 19, 37, 20};
constexpr std::size_t unit_samples[] = {288, 144, 480, 160}, delay[] = {120, 120, 360, 80};

class Jobs : public test::ToolTest, public ::testing::WithParamInterface<int> {
 protected:
  int flavor() const { return GetParam(); }
  int rate() const { return rates[flavor()]; }
  std::size_t unit() const { return unit_bytes[flavor()]; }

  JobResult encode_file(const std::string& input, bool raw = false) {
    EncodeSettings settings;
    settings.flavor = flavor();
    settings.raw = raw;
    OutputFile output(path("c"), true, input);
    return encode_sound(settings, input, output);
  }
  JobResult encode(const Pcm& pcm, bool raw = false) {
    write_audio(path("in.wav"), wav16, rate(), 1, pcm);
    return encode_file(path("in.wav"), raw);
  }
  /// Decodes "c" to "out.wav" and keeps the notes.
  bool decode(const DecodeSettings& settings = {}) {
    OutputFile output(path("out.wav"), true, path("c"));
    result_ = decode_sound(settings, path("c"), output, path("out.wav"));
    return !result_.damaged;
  }
  DecodeSettings losing(double percent, std::uint64_t seed,
                        OggConcealment concealment = OggConcealment::immediate) {
    DecodeSettings settings;
    settings.losses = LossPattern(percent, seed);
    settings.report_losses = true;
    settings.concealment = concealment;
    return settings;
  }
  Pcm decoded() const { return load_audio(path("out.wav")).samples; }

  JobResult result_;
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
    EXPECT_THAT(result_.notes, IsEmpty());
    EXPECT_EQ(result_.samples, static_cast<std::uint64_t>(samples));
  }
}

TEST_P(Jobs, BareUnitsAreThoseOfTheFile) {
  const Pcm pcm = loud_speech(2000, 1, rate());
  encode(pcm);
  ASSERT_TRUE(decode());
  const Pcm whole = decoded();
  encode(pcm, /*raw=*/true);
  EXPECT_EQ(read_bytes(path("c")).size(), unit() * unit_count(make_head(flavor(), 0), 2000));
  DecodeSettings settings;
  settings.flavor = flavor();
  ASSERT_TRUE(decode(settings));
  // Bare units do not tell where the source ended.
  Pcm bare = decoded();
  ASSERT_GE(bare.size(), whole.size());
  bare.resize(whole.size());
  EXPECT_EQ(bare, whole);
}

TEST_P(Jobs, BareUnitsThatAreCutDecodeUpToTheCut) {
  encode(loud_speech(2000, 1, rate()), true);
  Bytes bytes = read_bytes(path("c"));
  bytes.resize(3 * unit() + 5);
  write_bytes(path("c"), bytes);
  DecodeSettings settings;
  settings.flavor = flavor();
  EXPECT_FALSE(decode(settings));
  EXPECT_THAT(result_.notes, ElementsAre("cut short: 5 bytes after the last whole unit"));
  EXPECT_EQ(decoded().size(), 3 * unit_samples[flavor()] - delay[flavor()]);
  write_bytes(path("c"), {});
  EXPECT_TRUE(decode(settings));
  EXPECT_EQ(decoded().size(), 0u);
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
  // The jobs work through files, the measuring program in memory: same figures.
  const Pcm pcm = loud_speech(rate() / 2, 3, rate());
  encode(pcm);
  EXPECT_TRUE(decode(losing(20.0, 7)));
  const Trial trial =
      try_codec(flavor(), default_effort(flavor()), pcm, {Concealment::immediate, 20.0, 7});
  const auto figures = snr_figures(reference(flavor(), pcm), decoded(), rate());
  EXPECT_EQ(figures->snr, trial.figures->snr);
  EXPECT_THAT(result_.notes, ElementsAre(std::to_string(trial.lost) + " of " +
                                         std::to_string(trial.frames) + " frames lost"));
  EXPECT_GT(trial.lost, 0u);
}

TEST_P(Jobs, EnhancedSpeechIsWhatAnEnhancingStreamGives) {
  const Pcm pcm = loud_speech(20000, 6, rate());
  encode(pcm);
  ASSERT_TRUE(decode());
  const Pcm plain = decoded();
  DecodeSettings settings;
  settings.enhance = true;
  ASSERT_TRUE(decode(settings));
  Pcm heard;
  try_codec(flavor(), default_effort(flavor()), pcm, {.enhance = true}, &heard);
  EXPECT_EQ(decoded(), heard);
  EXPECT_EQ(heard == plain, flavor() < 2);  // the others have no postfilter for it
}

TEST_P(Jobs, AnyRateAndChannels) {
  const Pcm mono = loud_speech(44100 / 2, 4, 44100.0);
  Pcm stereo;
  for (const std::int16_t x : mono) stereo.insert(stereo.end(), {x, x});
  write_audio(path("in.flac"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 44100, 2, stereo);
  encode_file(path("in.flac"));
  EXPECT_TRUE(decode());
  const Pcm resampled = read_audio(path("in.flac"), rate());
  EXPECT_EQ(decoded().size(), static_cast<std::size_t>(rate() / 2));
  EXPECT_EQ(resampled.size(), decoded().size());
  EXPECT_GT(snr_figures(reference(flavor(), resampled), decoded(), rate())->snr, 3.0);
}

TEST_P(Jobs, ATruncatedFileDecodesUpToTheCutAndSaysSo) {
  encode(loud_speech(5 * rate(), 5, rate()));
  EXPECT_TRUE(decode());
  const Pcm whole = decoded();
  Bytes bytes = read_bytes(path("c"));
  bytes.resize(bytes.size() - 10);
  write_bytes(path("c"), bytes);
  EXPECT_FALSE(decode());
  const Pcm cut = decoded();
  ASSERT_GT(cut.size(), static_cast<std::size_t>(3 * rate()));
  EXPECT_EQ(cut, Pcm(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(cut.size())));
  EXPECT_EQ(result_.notes.back(), "cut short: decoded " + std::to_string(cut.size()) + " samples");
}

TEST_P(Jobs, ADamagedPageIsConcealedInItsPlaceAndTold) {
  encode(loud_speech(7 * rate(), 5, rate()));
  EXPECT_TRUE(decode());
  const Pcm whole = decoded();
  Bytes bytes = read_bytes(path("c"));
  bytes[bytes.size() / 2] ^= 1;
  write_bytes(path("c"), bytes);
  EXPECT_FALSE(decode());
  EXPECT_EQ(decoded().size(), whole.size());
  ASSERT_EQ(result_.notes.size(), 1u);
  EXPECT_THAT(result_.notes[0], HasSubstr("lost units in 1 hole, 1 damaged page"));
}

TEST_P(Jobs, LossesDependOnTheSeedAlone) {
  encode(loud_speech(4000, 8, rate()));
  decode(losing(25.0, 1));
  const Pcm first = decoded();
  decode(losing(25.0, 1));
  EXPECT_EQ(decoded(), first);
  decode(losing(25.0, 2));
  EXPECT_NE(decoded(), first);
}

TEST_P(Jobs, LosingNothingChangesNothing) {
  encode(loud_speech(4000, 8, rate()));
  decode();
  const Pcm plain = decoded();
  for (const auto concealment :
       {OggConcealment::immediate, OggConcealment::deferred, OggConcealment::none}) {
    decode(losing(0.0, 1, concealment));
    EXPECT_EQ(decoded(), plain);
    EXPECT_THAT(result_.notes, ElementsAre(HasSubstr("0 of ")));
  }
}

TEST_P(Jobs, LosingEverythingStillHasTheLength) {
  encode(loud_speech(4000, 8, rate()));
  for (const auto concealment :
       {OggConcealment::immediate, OggConcealment::deferred, OggConcealment::none}) {
    EXPECT_TRUE(decode(losing(100.0, 1, concealment)));
    EXPECT_EQ(decoded().size(), 4000u);
  }
}

TEST_P(Jobs, AFailureLeavesNoOutput) {
  write_bytes(path("bad"), Bytes(100, 'x'));
  EXPECT_THROW(encode_file(path("bad")), FileError);
  OutputFile output(path("out"), false, path("bad"));
  EXPECT_THROW(decode_sound({}, path("bad"), output, path("out")), FileError);
  EXPECT_FALSE(test::exists(path("out")));
}

TEST_P(Jobs, TheOutputsRateAndLevelAreChosen) {
  const Pcm pcm = loud_speech(rate() / 2, 4, rate());
  encode(pcm);
  ASSERT_TRUE(decode());
  const Pcm plain = decoded();
  DecodeSettings settings;
  settings.gain_db = -20.0 * std::log10(2.0);
  ASSERT_TRUE(decode(settings));
  const Pcm half = decoded();
  ASSERT_EQ(half.size(), plain.size());
  // Half of an odd number lies between two.
  for (std::size_t i = 0; i < half.size(); ++i) ASSERT_NEAR(half[i], 0.5 * plain[i], 0.51);
  settings.rate = 44100;
  ASSERT_TRUE(decode(settings));
  const test::Audio audio = load_audio(path("out.wav"));
  EXPECT_EQ(audio.rate, 44100);
  EXPECT_EQ(audio.samples.size(), 22050u);
}

TEST_P(Jobs, ExactLengthOverManyLengthsAndRates) {
  test::Random random(9);
  for (int i = 0; i < 12; ++i) {
    constexpr int sources[] = {6000, 8000, 11025, 16000, 44100, 48000, 96000, 192000};
    const int source = sources[random.bits() % std::size(sources)];
    const int samples = static_cast<int>(random.bits() % 5000);
    SCOPED_TRACE(testing::Message() << samples << " at " << source);
    write_audio(path("in.wav"), wav16, source, 1, Pcm(static_cast<std::size_t>(samples), 1000));
    encode_file(path("in.wav"));
    ASSERT_TRUE(decode());
    const auto wanted = std::floor(static_cast<double>(samples) * rate() / source + 0.5);
    EXPECT_EQ(static_cast<double>(decoded().size()), wanted);
  }
}

}  // namespace
}  // namespace quel::tools
