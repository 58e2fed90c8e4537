#include "narrowband/dec_swt.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bitstream/serial.h"
#include "narrowband/memories.h"
#include "narrowband/plain_narrowband.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::encode;
using test::memories;
using test::mode_for;
using test::PlainDecoder;
using test::Random;
using test::random_words;
using test::speech_like_pcm;
using test::Words;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

using Pcm = std::vector<std::int16_t>;

struct Decoder {
  NarrowbandDecoderShared shared;
  SwtDecoder swt;

  Decoder() { init_dec_swt(swt, shared); }
  Pcm frame(const Words& prm, int bfi, int flavor = 0) {
    Pcm out(144);
    dec_swt(swt, shared, mode_for(flavor), prm.data(), out.data(), bfi);
    return out;
  }
};

void expect_in_step(const Decoder& d, const PlainDecoder& plain) {
  EXPECT_THAT(
      std::vector<float>(d.swt.synthesis.old_exc.begin(), d.swt.synthesis.old_exc.begin() + 154),
      ElementsAreArray(plain.exc.end() - 154, plain.exc.end()));
  EXPECT_EQ(d.swt.old_pitch, plain.old_lag);
  EXPECT_EQ(d.swt.last_mode, plain.last_mode);
  EXPECT_EQ(d.shared.seed, plain.seed);
  EXPECT_EQ(d.shared.gains.past_qua_en, plain.gains.past_qua_en);
  EXPECT_THAT(d.swt.synthesis.isfold, ElementsAreArray(plain.isp_old));
}

// A frame whose subframes have the given lag words; the other fields are plausible.
Words lag_words(std::int32_t first, std::int32_t second, std::int32_t third) {
  Words prm{0, 10, 20, 30, 40, 5};
  for (std::size_t s = 0; s < 3; ++s) {
    prm[7 + 5 * s] = 3;
    prm[8 + 5 * s] = 20;
    prm[9 + 5 * s] = 9;
    prm[10 + 5 * s] = 60;
  }
  prm[6] = first;
  prm[11] = second;
  prm[16] = third;
  return prm;
}

TEST(DecSwt, LoadIsZeroAndInitSetsTheStart) {
  NarrowbandDecoderShared shared;
  SwtDecoder swt;
  EXPECT_EQ(swt.last_mode, 0);
  EXPECT_EQ(swt.old_pitch, 0);
  EXPECT_EQ(shared.seed, 0);
  EXPECT_THAT(memories(swt), Each(0.0f));
  EXPECT_THAT(memories(shared), Each(0.0f));
  init_dec_swt(swt, shared);
  EXPECT_EQ(swt.last_mode, 1);
  EXPECT_EQ(swt.old_pitch, 180);
  EXPECT_EQ(shared.seed, 21845);
  EXPECT_THAT(swt.synthesis.isfold, ElementsAre(0.9595f, 0.8413f, 0.6549f, 0.4154f, 0.1423f,
                                                -0.1423f, -0.4154f, -0.6549f, -0.8413f, -0.9595f));
  EXPECT_THAT(shared.gains.past_qua_en, Each(-14.0f));
}

TEST(DecSwt, InitForgetsTheStream) {
  Decoder used, fresh;
  Random random(1);
  for (int k = 0; k < 30; ++k) used.frame(random_words(k % 2, random), k % 3);
  init_dec_swt(used.swt, used.shared);
  EXPECT_EQ(memories(used.swt), memories(fresh.swt));
  for (const Words& prm : encode(1, speech_like_pcm(1440, 2))) {
    EXPECT_EQ(used.frame(prm, 0), fresh.frame(prm, 0));
  }
}

TEST(DecSwt, SpeechMovesTheExcitationAsTheWordsSay) {
  for (const int flavor : {0, 1}) {
    Decoder d;
    PlainDecoder plain;
    for (const Words& prm : encode(flavor, speech_like_pcm(7200, 3))) {
      d.frame(prm, 0, flavor);
      plain.frame(mode_for(flavor), prm, 0);
      expect_in_step(d, plain);
    }
  }
}

// Random fields of both rates in turn, received and lost in either way. The plain decoder guards
// nothing, so 40 frames at a time keep clear of absurd values.
TEST(DecSwt, RandomWordsAndLossesMoveTheExcitationAsTheWordsSay) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Decoder d;
    PlainDecoder plain;
    for (int k = 0; k < 40; ++k) {
      const int flavor = random.integer(0, 1);
      const int bfi = random.integer(0, 3) == 0 ? random.integer(1, 2) : 0;
      const Words prm = random_words(flavor, random);
      // After the 5 kbit/s flavor has set it, the factor is there for these flavors too.
      Mode mode = mode_for(seed % 2 != 0 ? 2 : flavor);
      set_mode(mode, flavor);
      Pcm out(144);
      dec_swt(d.swt, d.shared, mode, prm.data(), out.data(), bfi);
      plain.frame(mode, prm, bfi);
      expect_in_step(d, plain);
    }
  }
}

// Enhancement, synthesis, high-pass and PCM in double; the float memories may turn a value that
// lies next to a rounding limit, hence one step.
TEST(DecSwt, OutputIsTheEnhancedSynthesisHighPassed) {
  PlainDecoder plain;
  Decoder d;
  Pcm out;
  for (const Words& prm : encode(1, speech_like_pcm(7200, 4))) {
    const auto frame = d.frame(prm, 0, 1);
    out.insert(out.end(), frame.begin(), frame.end());
    plain.frame(mode_for(1), prm, 0);
  }
  double har = 0;
  std::vector<double> y(10);
  std::size_t n = 154;
  for (const auto& sub : plain.subframes) {
    const double beta = std::min(0.5 * sub.gain_pit * sub.gain_pit, 0.4);
    har = std::min(0.7 * har + 0.3 * beta, beta);
    double e[48];
    for (std::size_t i = 0; i < 48; ++i) {
      e[i] = plain.exc[n++] - sub.gain_code * har * sub.code[i];
    }
    test::plain_all_pole(sub.A, 1.0, e, y);
  }
  const auto expected = test::plain_output({y.begin() + 10, y.end()});
  int differ = 0;
  for (std::size_t i = 0; i < out.size(); ++i) {
    ASSERT_NEAR(out[i], expected[i], 1);
    differ += out[i] != expected[i] ? 1 : 0;
  }
  EXPECT_LT(differ, 72);  // one in a hundred
}

int lag_after(std::int32_t first, std::int32_t second, std::int32_t third) {
  Decoder d;
  d.frame(lag_words(first, second, third), 0);
  return d.swt.old_pitch;
}

// Seen through the concealment, which goes three quarters of the way from 180 to the decoded lag.
TEST(DecSwt, AbsoluteIndices196And197And255) {
  const auto thirds = [](std::int32_t index) {
    Decoder d;
    d.frame(lag_words(index, 0, 0), 1);
    return d.swt.old_pitch;
  };
  EXPECT_EQ(thirds(196), 235);  // 180 + 0.75 * (3 * 85 - 1 - 180) = 235.5
  EXPECT_EQ(thirds(197), 236);  // 180 + 0.75 * (3 * 85 - 180) = 236.25
  EXPECT_EQ(thirds(255), 366);  // 180 + 0.75 * (3 * 143 - 180) = 366.75
  EXPECT_EQ(thirds(0), 88);     // 180 + 0.75 * (3 * 19 + 1 - 180) = 88.5
}

// Relative word 2 is the lag T0_min itself.
TEST(DecSwt, ShortestLagOfTheRelativeIndices) {
  EXPECT_EQ(lag_after(140 + 112, 2, 2), 3 * 134);
  EXPECT_EQ(lag_after(143 + 112, 2, 2), 3 * 134);
  EXPECT_EQ(lag_after(139 + 112, 2, 2), 3 * 134);
  EXPECT_EQ(lag_after(138 + 112, 2, 2), 3 * 133);
  EXPECT_EQ(lag_after(0, 2, 2), 3 * 20);  // 19 1/3
  EXPECT_EQ(lag_after(3 * 24 - 58, 2, 2), 3 * 20);
  EXPECT_EQ(lag_after(3 * 25 - 58, 2, 2), 3 * 20);
  EXPECT_EQ(lag_after(3 * 26 - 58, 2, 2), 3 * 21);
}

TEST(DecSwt, RelativeIndicesCountThirdsFromTheFirstSubframe) {
  for (int index = 0; index < 32; ++index) {
    EXPECT_EQ(lag_after(100 + 112, 7, index), 3 * 95 + index - 2);
    EXPECT_EQ(lag_after(100 + 112, 31, index), 3 * 95 + index - 2);
  }
  EXPECT_EQ(lag_after(255, 31, 31), 3 * 144 - 1);
  EXPECT_EQ(lag_after(0, 0, 0), 3 * 19 + 1);
}

TEST(DecSwt, LossBeforeAnyFrameUsesMode1AndStartsFromLag60) {
  for (const int bfi : {1, 2}) {
    Decoder d;
    PlainDecoder plain;
    // A code gain, so that the excitation shows which codebook made it.
    d.shared.gains.last_gain_code = plain.gains.last_gain_code = 1000.0f;
    const Words prm = lag_words(150, 0, 0);
    d.frame(prm, bfi);
    plain.frame(mode_for(0), prm, bfi);
    EXPECT_EQ(d.swt.last_mode, 1);
    expect_in_step(d, plain);
    PlainDecoder other;
    other.last_mode = 0;
    other.gains.last_gain_code = 1000.0f;
    other.frame(mode_for(0), prm, bfi);
    EXPECT_NE(plain.exc, other.exc);
    EXPECT_EQ(d.swt.old_pitch, bfi == 2 ? 3 * 63 : 180 + (150 + 58 - 180) * 3 / 4);
  }
}

TEST(DecSwt, LossKeepsTheModeOfTheLastReceivedFrame) {
  Decoder d;
  Words prm = lag_words(100, 5, 5);
  d.frame(prm, 0);
  prm[0] = 1;
  d.frame(prm, 1);
  EXPECT_EQ(d.swt.last_mode, 0);
  d.frame(prm, 2);
  EXPECT_EQ(d.swt.last_mode, 0);
  d.frame(prm, 0);
  EXPECT_EQ(d.swt.last_mode, 1);
}

TEST(DecSwt, RepeatedLossesRaiseTheLagToAndThenHold143) {
  Decoder d;
  const Words prm{};
  for (int k = 1; k < 60; ++k) {
    d.frame(prm, 2);
    EXPECT_EQ(d.swt.old_pitch, 3 * std::min(60 + 3 * k, 143));
  }
}

TEST(DecSwt, RepeatedLossesDropTheFractionOfTheLag) {
  Decoder d;
  d.frame(lag_words(100 + 112, 7, 3 * 5 + 2 + 1), 0);
  EXPECT_EQ(d.swt.old_pitch, 301);
  d.frame({}, 2);
  EXPECT_EQ(d.swt.old_pitch, 3 * 103);
}

// Mode 1 walks a quarter of the way per subframe and truncates: 180, then 242, 304, 366 of 429.
TEST(DecSwt, LossWithTheNextFrameWalksAQuarterOfTheWay) {
  Decoder d;
  PlainDecoder plain;
  const Words next = lag_words(255, 0, 0);
  d.frame(next, 1);
  plain.frame(mode_for(0), next, 1);
  expect_in_step(d, plain);
  ASSERT_EQ(plain.subframes.size(), 3u);
  EXPECT_EQ(plain.subframes[0].thirds, 242);  // 242.25
  EXPECT_EQ(plain.subframes[1].thirds, 304);  // 304.5
  EXPECT_EQ(plain.subframes[2].thirds, 366);  // 366.75
}

TEST(DecSwt, LostFramesDrawNineRandomWordsAndReceivedOnesNone) {
  Decoder d;
  std::int16_t seed = 21845;
  d.frame(lag_words(100, 5, 5), 0);
  EXPECT_EQ(d.shared.seed, seed);
  d.frame(lag_words(100, 5, 5), 2);
  for (int i = 0; i < 9; ++i) random_func(seed);
  EXPECT_EQ(d.shared.seed, seed);
}

TEST(DecSwt, LongLossFadesOutAndItsEnergyMemoryReturnsToItsStart) {
  Decoder d;
  for (const Words& prm : encode(1, speech_like_pcm(7200, 5))) d.frame(prm, 0, 1);
  Pcm out;
  for (int k = 0; k < 35; ++k) out = d.frame({}, 2, 1);
  EXPECT_THAT(out, Each(0));
  // Each subframe's new entry is 0.2 of the last four, less 2.8: 105 of them bring the 40 dB that
  // an entry can be away from -14 below 40 * 0.92^105 dB.
  for (const float energy : d.shared.gains.past_qua_en) EXPECT_NEAR(energy, -14.0f, 0.01f);
}

TEST(DecSwt, BigEndianHostsGetTheModeWordSwappedOnceMore) {
  Decoder little, big;
  big.shared.gBigEndian = true;
  for (int k = 0; k < 6; ++k) {
    for (const Words& prm : encode(k % 2, speech_like_pcm(1440, 6))) {
      Words swapped = prm;
      SwapIntBytes(swapped.data(), 1);
      EXPECT_EQ(little.frame(prm, 0), big.frame(swapped, 0));
      EXPECT_EQ(big.swt.last_mode, k % 2);
    }
  }
}

TEST(DecSwt, TheModeWordAloneNamesTheCodebook) {
  Decoder a, b, other;
  Words prm = lag_words(100, 5, 5);
  prm[0] = 1;
  const auto expected = a.frame(prm, 0);
  prm[0] = 7;  // no flavor; anything but 0 is taken for the larger codebook
  EXPECT_EQ(b.frame(prm, 0), expected);
  prm[0] = 0;
  EXPECT_NE(other.frame(prm, 0), expected);
}

TEST(DecSwt, ScratchPeak) {
  test::ScratchGauge gauge;
  Decoder d;
  Random random(7);
  for (int k = 0; k < 200; ++k) d.frame(random_words(k % 2, random), k % 3);
  EXPECT_EQ(gauge.deepest(), 1516);  // of 8188
}

TEST(DecSwt, NothingIsReadFromScratchUnwritten) {
  Decoder a, b;
  ScratchArea area;
  std::fill_n(area.bytes, scratch_bytes, std::byte{0xff});  // as floats, NaN
  Random random(8);
  for (int k = 0; k < 60; ++k) {
    const Words prm = random_words(k % 2, random);
    const auto expected = a.frame(prm, k % 3);
    const ScratchSwitch use(area);
    EXPECT_EQ(b.frame(prm, k % 3), expected);
  }
}

}  // namespace
}  // namespace quel
