// Frames that were not sent: noise like the background stands for them.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::Random;
using Pcm = std::vector<std::int16_t>;
using Bytes = std::vector<std::uint8_t>;

class NotSent : public ::testing::TestWithParam<int> {
 protected:
  int flavor() const { return GetParam(); }
  int rate() const { return quel_sampling_rate(flavor()); }
  std::size_t samples() const { return static_cast<std::size_t>(quel_samples_per_unit(flavor())); }
  std::size_t bytes() const { return static_cast<std::size_t>(quel_bytes_per_unit(flavor())); }
  std::size_t units_in(double seconds) const {
    return static_cast<std::size_t>(seconds * rate()) / samples();
  }
  // One unit in so many is sent, about 160 ms apart.
  std::size_t period() const {
    return static_cast<std::size_t>(std::lround(0.16 * rate() / static_cast<double>(samples())));
  }
  std::span<const std::uint8_t> unit(const Bytes& units, std::size_t k) const {
    return std::span(units).subspan(k * bytes(), bytes());
  }
  Bytes code(const Pcm& pcm) const { return Encoder(flavor()).encode_units(whole(pcm)); }
  std::span<const std::int16_t> whole(const Pcm& pcm) const {
    return std::span(pcm).first(pcm.size() / samples() * samples());
  }
  // White or falling noise of this deviation.
  Pcm noise(double seconds, double deviation, double tilt, std::uint64_t seed) const {
    const auto white = test::noise(static_cast<int>(seconds * rate()), seed, deviation);
    Pcm pcm;
    double y = 0.0;
    for (const float x : white) {
      y = tilt * y + std::sqrt(1.0 - tilt * tilt) * x;
      pcm.push_back(static_cast<std::int16_t>(std::lround(y)));
    }
    return pcm;
  }
};
INSTANTIATE_TEST_SUITE_P(Flavors, NotSent, ::testing::Range(0, 4));

double level(std::span<const std::int16_t> x) {
  double sum = 0.0;
  for (const std::int16_t v : x) sum += static_cast<double>(v) * v;
  return 10.0 * std::log10(sum / static_cast<double>(x.size()) + 0.1);
}

// Levels of 12 bands of a block, dB, each the mean of windows of 20 ms at two frequencies, without
// the lowest and the highest ones, which the codec's own filters remove.
std::vector<double> bands(std::span<const std::int16_t> x, int rate) {
  constexpr double pi = 3.14159265358979323846;
  const auto length = static_cast<std::size_t>(rate / 50);
  std::vector<double> levels(12, 1.0);
  for (std::size_t k = 0; k < 2 * levels.size(); ++k) {
    const double angle = pi * (0.06 + 0.82 * (static_cast<double>(k) + 0.5) / 24.0);
    for (std::size_t at = 0; at + length <= x.size(); at += length / 2) {
      double real = 0.0, imaginary = 0.0;
      for (std::size_t n = 0; n < length; ++n) {
        const double t = static_cast<double>(n);
        const double v =
            x[at + n] * (0.5 - 0.5 * std::cos(2.0 * pi * t / static_cast<double>(length)));
        real += v * std::cos(angle * t);
        imaginary += v * std::sin(angle * t);
      }
      levels[k / 2] += real * real + imaginary * imaginary;
    }
  }
  for (double& value : levels) value = 10.0 * std::log10(value);
  return levels;
}

double rms_difference(const std::vector<double>& one, const std::vector<double>& other) {
  double sum = 0.0;
  for (std::size_t k = 0; k < one.size(); ++k) sum += (one[k] - other[k]) * (one[k] - other[k]);
  return std::sqrt(sum / static_cast<double>(one.size()));
}

// 2 dB and 3 dB are what a listener is promised, mean over blocks of 100 ms.
TEST_P(NotSent, NoiseIsAsLoudAndOfTheSameColorAsTheBackground) {
  std::uint64_t seed = 1;
  for (const double tilt : {0.0, 0.7}) {
    for (const double deviation : {30.0, 3000.0}) {
      SCOPED_TRACE(testing::Message() << "tilt " << tilt << ", deviation " << deviation);
      const Bytes units = code(noise(3.0, deviation, tilt, ++seed));
      Decoder all(flavor()), sparse(flavor());
      Pcm expected, heard;
      for (std::size_t k = 0; k < units.size() / bytes(); ++k) {
        const bool sent = k < units_in(0.3) || k % period() == 0;
        const Pcm one = all.decode(unit(units, k));
        const Pcm other = sparse.decode(sent ? unit(units, k) : std::span<const std::uint8_t>{},
                                        sent ? QUEL_ALL_RECEIVED : QUEL_NOT_SENT);
        ASSERT_EQ(other.size(), samples());
        expected.insert(expected.end(), one.begin(), one.end());
        heard.insert(heard.end(), other.begin(), other.end());
      }
      double level_sum = 0.0, band_sum = 0.0, blocks = 0.0;
      const auto block = static_cast<std::size_t>(rate() / 10);
      for (std::size_t at = 4 * block; at + block <= heard.size(); at += block) {
        const auto one = std::span(expected).subspan(at, block);
        const auto other = std::span(heard).subspan(at, block);
        level_sum += std::abs(level(one) - level(other));
        band_sum += rms_difference(bands(one, rate()), bands(other, rate()));
        ++blocks;
      }
      EXPECT_LE(level_sum / blocks, 2.0);
      EXPECT_LE(band_sum / blocks, 3.0);
    }
  }
}

// Somebody joins a call in its pause: one unit, and more of the pause. Of the unit the decoder has
// the predictors wrong, but what it makes of it is what it goes on with. The levels of two single
// frames, the first of them out of silence, lie up to 9 dB apart; noise that starts from anything
// else than what was heard is 16 to 57 dB off.
TEST_P(NotSent, BehindASingleUnitNoiseIsAsLoudAsThat) {
  const Bytes units = code(noise(1.0, 300.0, 0.7, 14));
  for (std::size_t from = 0; from < units.size() / bytes(); from += 3) {
    Decoder decoder(flavor());
    Pcm heard = decoder.decode(unit(units, from));
    if (flavor() == QUEL_FLAVOR_5K) heard = decoder.decode({}, QUEL_NOT_SENT);
    const double off = level(decoder.decode({}, QUEL_NOT_SENT)) - level(heard);
    EXPECT_LE(std::abs(off), 12.0) << from;
  }
}

// A minute without anything: neither louder nor fainter than at its start.
TEST_P(NotSent, NoiseStaysAsItIs) {
  const Bytes units = code(noise(0.5, 500.0, 0.5, 3));
  Decoder decoder(flavor());
  decoder.decode_units(units);
  Pcm heard;
  for (std::size_t k = 0; k < units_in(60.0); ++k) {
    const Pcm part = decoder.decode({}, QUEL_NOT_SENT);
    heard.insert(heard.end(), part.begin(), part.end());
  }
  const auto second = static_cast<std::size_t>(rate());
  // Of a second of noise the level is known to a tenth of a dB or so.
  EXPECT_NEAR(level(std::span(heard).first(second)), level(std::span(heard).last(second)), 0.5);
}

// When the speech goes on, the frames after the pause are neither much louder nor much fainter than
// with everything sent, and soon there is no difference. Which predictors the encoder had is not
// known: 6 dB is what a single frame may be off, in the mean over pauses 2.
TEST_P(NotSent, SpeechSetsInSoftly) {
  const Pcm background = noise(1.0, 100.0, 0.7, 4);
  double sum = 0.0;
  int pauses = 0;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    Pcm pcm = background;
    const Pcm speech = test::speech_like_pcm(rate(), seed, rate());
    pcm.insert(pcm.end(), speech.begin(), speech.end());
    const Bytes units = code(pcm);
    Decoder all(flavor()), sparse(flavor());
    Pcm expected, heard;
    const std::size_t from = units_in(0.4), to = units_in(0.95);
    for (std::size_t k = 0; k < units.size() / bytes(); ++k) {
      const bool sent = k < from || k >= to;
      const Pcm one = all.decode(unit(units, k));
      const Pcm other = sparse.decode(unit(units, k), sent ? QUEL_ALL_RECEIVED : QUEL_NOT_SENT);
      expected.insert(expected.end(), one.begin(), one.end());
      heard.insert(heard.end(), other.begin(), other.end());
    }
    const auto block = static_cast<std::size_t>(rate() / 10);
    const std::size_t first = to * samples() + (flavor() == QUEL_FLAVOR_5K ? 240 : 0);
    const double off = level(std::span(heard).subspan(first, block)) -
                       level(std::span(expected).subspan(first, block));
    EXPECT_LE(std::abs(off), 6.0) << seed;
    sum += std::abs(off);
    ++pauses;
    const std::size_t late = heard.size() - block;
    EXPECT_NEAR(level(std::span(heard).subspan(late)), level(std::span(expected).subspan(late)),
                0.5);
  }
  EXPECT_LE(sum / pauses, 2.0);
}

TEST_P(NotSent, WithoutAnythingHeardAUnitCountsAsLost) {
  Decoder lost(flavor()), unsent(flavor());
  for (int k = 0; k < 10; ++k) {
    EXPECT_EQ(unsent.decode({}, QUEL_NOT_SENT), lost.conceal());
  }
  const Bytes units = code(noise(0.5, 500.0, 0.5, 5));
  EXPECT_EQ(unsent.decode_units(units), lost.decode_units(units));
}

// Neither does it matter what the bytes are.
TEST_P(NotSent, BytesAreNotLookedAt) {
  const Bytes units = code(noise(0.5, 500.0, 0.5, 6));
  Decoder one(flavor()), other(flavor());
  one.decode_units(units);
  other.decode_units(units);
  const Bytes ones(bytes(), 0xff);
  for (int k = 0; k < 10; ++k) {
    EXPECT_EQ(one.decode({}, QUEL_NOT_SENT), other.decode(ones, QUEL_NOT_SENT));
  }
  EXPECT_EQ(one.decode_units(units), other.decode_units(units));
}

// A byte for each frame tells the same as the mask of a unit.
TEST_P(NotSent, ManyUnitsACallAreAsOneAfterTheOther) {
  const Bytes units = code(noise(2.0, 500.0, 0.5, 7));
  const auto frames = static_cast<std::size_t>(quel_frames_per_unit(flavor()));
  Random random(8);
  for (const auto concealment : {Concealment::immediate, Concealment::deferred}) {
    Decoder one(flavor(), concealment), many(flavor(), concealment);
    Bytes flags;
    Pcm expected;
    for (std::size_t k = 0; k < units.size() / bytes(); ++k) {
      const int kind = k < 5 ? 2 : random.integer(0, 2);
      flags.insert(flags.end(), frames,
                   kind == 0   ? std::uint8_t{0}
                   : kind == 1 ? std::uint8_t{QUEL_NOT_SENT}
                               : std::uint8_t{1});
      const Pcm part = one.decode(unit(units, k), kind == 0   ? 0
                                                  : kind == 1 ? QUEL_NOT_SENT
                                                              : QUEL_ALL_RECEIVED);
      expected.insert(expected.end(), part.begin(), part.end());
    }
    EXPECT_EQ(many.decode_units(units, flags), expected);
  }
}

// A unit that was not sent ends a loss as one does that was received.
TEST_P(NotSent, DeferredConcealmentMakesUpForLossesBeforeIt) {
  const auto frames = static_cast<std::size_t>(quel_frames_per_unit(flavor()));
  const auto frame_samples = static_cast<std::size_t>(quel_samples_per_frame(flavor()));
  const Bytes units = code(noise(0.5, 500.0, 0.5, 9));
  Decoder decoder(flavor(), Concealment::deferred);
  decoder.decode_units(units);
  EXPECT_EQ(decoder.decode({}, QUEL_NOT_SENT).size(), samples());
  EXPECT_EQ(decoder.conceal().size(), 0u);
  EXPECT_EQ(decoder.conceal().size(), 0u);
  const std::size_t missing = std::min<std::size_t>(2 * frames, 5);
  EXPECT_EQ(decoder.decode({}, QUEL_NOT_SENT).size(), (missing + frames) * frame_samples);
  EXPECT_EQ(decoder.decode({}, QUEL_NOT_SENT).size(), samples());
}

TEST_P(NotSent, FramesAreCounted) {
  const auto frames = static_cast<std::uint64_t>(quel_frames_per_unit(flavor()));
  const Bytes units = code(noise(0.5, 500.0, 0.5, 10));
  Decoder decoder(flavor());
  decoder.decode_units(units);
  const std::uint64_t decoded = decoder.counts().decoded;
  for (int k = 0; k < 3; ++k) decoder.decode({}, QUEL_NOT_SENT);
  decoder.conceal();
  EXPECT_EQ(decoder.counts().not_sent, 3 * frames);
  EXPECT_EQ(decoder.counts().concealed, frames);
  EXPECT_EQ(decoder.counts().decoded, decoded);
  // A program that was built before this was counted has no room for it.
  quel_decoder_counts counts = QUEL_DECODER_COUNTS;
  counts.size = offsetof(quel_decoder_counts, not_sent);
  counts.not_sent = 77;
  EXPECT_EQ(quel_decoder_statistics(decoder.get(), &counts), QUEL_OK);
  EXPECT_EQ(counts.concealed, frames);
  EXPECT_EQ(counts.not_sent, 77u);
  decoder.reset();
  EXPECT_EQ(decoder.counts().not_sent, 0u);
}

// Any bits before it, and any order of losses: defined, and the same of a copy of the stream.
TEST_P(NotSent, AnyBitsAndLossesGiveTheSameOfACopy) {
  quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor());
  alignas(std::max_align_t) static std::array<std::byte, 14 * 1024> first, second;
  quel_decoder* decoder = nullptr;
  ASSERT_EQ(quel_decoder_init(first.data(), first.size(), &options, &decoder), QUEL_OK);
  Random random(11);
  Bytes bits(bytes());
  Pcm one(QUEL_MAX_SAMPLES), other(QUEL_MAX_SAMPLES);
  for (int k = 0; k < 2000; ++k) {
    for (std::uint8_t& byte : bits) byte = static_cast<std::uint8_t>(random.bits() >> 24);
    const int kind = random.integer(0, 3);
    const std::uint32_t received = kind == 0 ? 0 : kind == 1 ? QUEL_ALL_RECEIVED : QUEL_NOT_SENT;
    second = first;
    const int count =
        quel_decode(decoder, bits.data(), bits.size(), received, one.data(), one.size());
    ASSERT_EQ(count, static_cast<int>(samples()));
    ASSERT_EQ(quel_decode(reinterpret_cast<quel_decoder*>(second.data()), bits.data(), bits.size(),
                          received, other.data(), other.size()),
              count);
    ASSERT_EQ(one, other);
    ASSERT_EQ(first, second);
  }
  // Whatever came before, speech is decoded again.
  const Pcm speech = test::speech_like_pcm(3 * rate(), 12, rate());
  const Bytes units = code(speech);
  Decoder fresh(flavor());
  const Pcm expected = fresh.decode_units(units);
  Pcm heard(expected.size());
  ASSERT_EQ(
      quel_decode_units(decoder, units.data(), units.size(), nullptr, heard.data(), heard.size()),
      static_cast<std::int64_t>(heard.size()));
  const auto second_long = static_cast<std::size_t>(rate());
  EXPECT_NEAR(level(std::span(heard).last(second_long)),
              level(std::span(expected).last(second_long)), 0.5);
}

// A pause is no part of the loss before it: one more lost unit is made up from the noise, and
// behind what is received then a lone loss is a lone loss. 12 dB is what concealment may take from
// noise in one unit, 6 dB what speech is held to behind a pause; a loss that has lasted is silent.
TEST_P(NotSent, NoiseEndsALoss) {
  const Bytes units = code(noise(4.0, 1000.0, 0.5, 13));
  const std::size_t row = units_in(0.4);
  const std::size_t behind = flavor() == QUEL_FLAVOR_5K ? 240 : 0;
  std::size_t next = 0;
  Decoder decoder(flavor());
  const auto play = [&](std::size_t n, std::uint32_t received) {
    Pcm heard;
    for (std::size_t i = 0; i < n; ++i) {
      const Pcm part = decoder.decode(unit(units, next++), received);
      heard.insert(heard.end(), part.begin(), part.end());
    }
    return heard;
  };
  // The level of one unit, be it heard with the one behind it.
  const auto level_of_one = [&](std::uint32_t received, std::uint32_t then) {
    Pcm heard = play(1, received);
    const Pcm more = play(1, then);
    heard.insert(heard.end(), more.begin(), more.end());
    return level(std::span(heard).subspan(behind, samples()));
  };
  const double background = level(play(row, QUEL_ALL_RECEIVED));
  play(row, 0);
  EXPECT_LT(level(play(1, 0)), background - 40.0);
  play(row, QUEL_NOT_SENT);
  EXPECT_NEAR(level_of_one(0, QUEL_NOT_SENT), background, 12.0);
  play(row, 0);
  play(row, QUEL_NOT_SENT);
  EXPECT_NEAR(level_of_one(QUEL_ALL_RECEIVED, QUEL_ALL_RECEIVED), background, 6.0);
  play(row, QUEL_ALL_RECEIVED);
  EXPECT_NEAR(level_of_one(0, QUEL_ALL_RECEIVED), background, 12.0);
  // Behind the pause and one unit, the memories that a long loss leaves are no longer there.
  play(row, 0);
  play(row, QUEL_NOT_SENT);
  play(1, QUEL_ALL_RECEIVED);
  EXPECT_NEAR(level_of_one(0, QUEL_ALL_RECEIVED), background, 12.0);
}

// Coded zeros may come out as a one here and there, and the noise after them no louder.
TEST_P(NotSent, SilenceIsSilence) {
  const Bytes units = code(Pcm(static_cast<std::size_t>(rate()), 0));
  Decoder decoder(flavor());
  decoder.decode_units(units);
  for (std::size_t k = 0; k < units_in(1.0); ++k) {
    for (const std::int16_t x : decoder.decode({}, QUEL_NOT_SENT)) ASSERT_LE(std::abs(x), 1);
  }
}

}  // namespace
}  // namespace quel
