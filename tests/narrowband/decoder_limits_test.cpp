// What hostile streams and damaged states get from the two narrowband decoders.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "narrowband/dec_5swt.h"
#include "narrowband/dec_swt.h"
#include "narrowband/memories.h"
#include "narrowband/plain_narrowband.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::bounded;
using test::encode;
using test::memories;
using test::mode_for;
using test::Random;
using test::random_words;
using test::speech_like_pcm;
using test::Words;
using ::testing::Contains;
using ::testing::Each;
using ::testing::Ne;

using Pcm = std::vector<std::int16_t>;

constexpr float largest_sane = 1e9f;

// Either decoder, by flavor.
struct Decoder {
  NarrowbandDecoderShared shared;
  SwtDecoder swt;
  FiveKDecoder five;
  int flavor;
  Mode mode;

  explicit Decoder(int f) : flavor(f), mode(mode_for(f)) {
    init_dec_swt(swt, shared);
    init_decoder_5k(five, shared);
  }
  Pcm frame(const Words& prm, int bfi = 0) {
    Pcm out(flavor == 2 ? 240 : 144);
    if (flavor == 2) {
      decoder_5k(five, shared, mode, prm.data() + 1, out.data(), bfi);
    } else {
      dec_swt(swt, shared, mode, prm.data(), out.data(), bfi);
    }
    return out;
  }
  SynthesisState& synthesis() { return flavor == 2 ? five.synthesis : swt.synthesis; }
  std::vector<float> all() const { return flavor == 2 ? memories(five) : memories(swt); }
  float loudest() {
    float peak = 0;
    for (const float x : synthesis().old_exc) peak = std::max(peak, std::abs(x));
    return peak;
  }
};

class DecoderLimits : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Flavor, DecoderLimits, ::testing::Values(0, 1, 2));

// Filters that follow the excitation can overshoot it, so what they remember may pass the limit for
// samples before the subframe that is cleared; it is finite all the same.
TEST_P(DecoderLimits, RandomBitsAndLossesLeaveASaneState) {
  Decoder d(GetParam());
  Random random(1);
  for (int k = 0; k < 3000; ++k) {
    const int lost = random.integer(0, 4) == 0 ? random.integer(1, 2) : 0;
    d.frame(random_words(GetParam(), random), lost);
    ASSERT_LE(d.loudest(), largest_sane);
    ASSERT_TRUE(bounded(d.all(), 1e15f));
    ASSERT_TRUE(bounded(memories(d.shared), 1e9f));
    ASSERT_LE(d.synthesis().gain_har, 0.4f);
    ASSERT_GE(d.synthesis().gain_har, 0.0f);
  }
}

TEST_P(DecoderLimits, WordsBeyondTheirFieldsStayInsideTheTables) {
  Decoder d(GetParam());
  Random random(2);
  for (int k = 0; k < 300; ++k) {
    Words prm;
    for (auto& word : prm) word = static_cast<std::int32_t>(random.bits());
    if (k % 2 == 0) prm[0] = GetParam();
    d.frame(prm, static_cast<int>(random.bits()) % 4);
    ASSERT_LE(d.loudest(), largest_sane);
  }
}

// The row of the largest pitch gain in every subframe, at a steady lag.
Words growing_words(int flavor) {
  Random random(3);
  Words prm = random_words(flavor, random);
  const std::size_t stride = flavor == 2 ? 3 : 5;
  for (std::size_t word = 6; word < 21; word += stride) {
    prm[word] = word == 6 || (flavor == 2 && word == 12) ? 40 + 112 - 80 : 17;
    prm[word + stride - 1] = 127;
  }
  return prm;
}

TEST_P(DecoderLimits, GrowingAdaptiveCodebookIsCutOff) {
  Decoder d(GetParam());
  const Words prm = growing_words(GetParam());
  float before = 0, peak = 0;
  int cuts = 0;
  for (int k = 0; k < 400; ++k) {
    d.frame(prm);
    const float now = d.loudest();
    ASSERT_LE(now, largest_sane);
    ASSERT_TRUE(bounded(d.all(), 1e15f));
    peak = std::max(peak, now);
    cuts += now < before / 1000 ? 1 : 0;
    before = now;
  }
  EXPECT_GT(peak, 1e7f);  // it did grow
  EXPECT_GT(cuts, 1);     // and was cut off, again and again
}

// Whether y is x but for a hundredth of its energy, or a step of PCM at one sample.
bool alike(const Pcm& x, const Pcm& y) {
  double signal = 0, error = 0;
  for (std::size_t n = 0; n < x.size(); ++n) {
    signal += static_cast<double>(x[n]) * x[n];
    error += (static_cast<double>(x[n]) - y[n]) * (static_cast<double>(x[n]) - y[n]);
  }
  return error <= 0.01 * signal + 1;
}

// Excitation up to 150 dB too loud fades with the speech's own pitch gains: after a second and a
// half the output is that of a decoder that has heard nothing else (measured: 1.0 s at worst).
TEST_P(DecoderLimits, RecoversFromAHostileStream) {
  for (unsigned seed = 1; seed < 5; ++seed) {
    Decoder hostile(GetParam()), fresh(GetParam());
    for (unsigned k = 0; k < 205 + seed; ++k) hostile.frame(growing_words(GetParam()));
    std::size_t samples = 0;
    for (const Words& prm : encode(GetParam(), speech_like_pcm(240 * 100, seed))) {
      const auto heard = hostile.frame(prm), expected = fresh.frame(prm);
      samples += heard.size();
      ASSERT_TRUE(samples <= 12000 || alike(expected, heard)) << "after " << samples;
    }
  }
}

constexpr float inf = std::numeric_limits<float>::infinity();
constexpr float nan_value = std::numeric_limits<float>::quiet_NaN();

// Everything that the guard can meet, one array at a time, with speech before and after. Two
// frames carry every sample of the history out of it.
TEST_P(DecoderLimits, PoisonedMemoriesAreCleanAgainAtOnce) {
  const auto frames = encode(GetParam(), speech_like_pcm(4800, 5));
  for (const float poison : {nan_value, inf, -inf, 1e30f, -3e38f}) {
    for (int target = 0; target < 9; ++target) {
      SCOPED_TRACE(target);
      Decoder d(GetParam());
      for (std::size_t k = 0; k < 10; ++k) d.frame(frames[k]);
      switch (target) {
        case 0:
          d.synthesis().old_exc.fill(poison);
          break;
        case 1:
          d.synthesis().old_exc[150] = poison;
          break;
        case 2:
          d.synthesis().mem_syn[9] = poison;
          break;
        case 3:
          d.synthesis().gain_har = poison;
          break;
        case 4:
          d.five.mem_syn1[0] = poison;
          break;
        case 5:
          d.five.mem_exc1[5] = poison;
          break;
        case 6:
          d.five.mem_exc2[9] = poison;
          break;
        case 7:
          d.five.preemphasis.mem_pre = poison;
          break;
        default:
          d.five.gain_control.gain_prec = poison;
          break;
      }
      if (target >= 4 && GetParam() != 2) continue;
      Pcm out;
      for (std::size_t k = 10; k < 12; ++k) out = d.frame(frames[k]);
      EXPECT_TRUE(bounded(d.all(), 1e6f));
      EXPECT_THAT(out, Contains(Ne(0)));
    }
  }
}

TEST_P(DecoderLimits, AbsurdSubframeIsSilentAndTheNextOnesAreNot) {
  const auto frames = encode(GetParam(), speech_like_pcm(4800, 6));
  Decoder d(GetParam());
  for (std::size_t k = 0; k < 12; ++k) d.frame(frames[k]);
  d.synthesis().old_exc.fill(inf);
  d.synthesis().ymem.fill(20000.0f);  // the high-pass must not ring on
  const Pcm out = d.frame(frames[12]);
  EXPECT_THAT(Pcm(out.begin(), out.begin() + 48), Each(0));
  EXPECT_THAT(Pcm(out.begin() + 48, out.begin() + 96), Contains(Ne(0)));
}

TEST_P(DecoderLimits, AbsurdLastGainsOfALossAreForgotten) {
  Decoder d(GetParam());
  const auto frames = encode(GetParam(), speech_like_pcm(4800, 7));
  for (std::size_t k = 0; k < 5; ++k) d.frame(frames[k]);
  d.frame(frames[5], 1);
  d.shared.gains.last_gain_code = inf;
  for (std::size_t k = 6; k < 8; ++k) d.frame(frames[k], 2);
  EXPECT_EQ(d.shared.gains.last_gain_code, 0.0f);
  EXPECT_EQ(d.shared.gains.last_gain_pit, 0.0f);
  EXPECT_TRUE(bounded(d.all(), 1e6f));
}

TEST_P(DecoderLimits, ForeignModeRecordsStaySane) {
  Mode wideband;
  set_mode(wideband, 3);
  for (const Mode& mode : {Mode{}, wideband, mode_for(0), mode_for(1), mode_for(2)}) {
    Decoder d(GetParam());
    d.mode = mode;
    Random random(8);
    for (int k = 0; k < 200; ++k) {
      d.frame(random_words(GetParam(), random), k % 3);
      ASSERT_LE(d.loudest(), largest_sane);
    }
  }
}

TEST_P(DecoderLimits, DecodersNeverInitialisedStaySane) {
  Decoder d(GetParam());
  d.shared = {};
  d.swt = {};
  d.five = {};
  Random random(9);
  for (int k = 0; k < 200; ++k) {
    d.frame(random_words(GetParam(), random), k % 3);
    ASSERT_LE(d.loudest(), largest_sane);
  }
}

TEST_P(DecoderLimits, LongLossesThenSpeech) {
  Decoder d(GetParam());
  for (int k = 0; k < 3000; ++k) d.frame({GetParam()}, 2);
  EXPECT_TRUE(bounded(memories(d.shared), 1e4f));
  Pcm out;
  for (const Words& prm : encode(GetParam(), speech_like_pcm(2400, 10))) out = d.frame(prm);
  EXPECT_THAT(out, Contains(Ne(0)));
}

}  // namespace
}  // namespace quel
