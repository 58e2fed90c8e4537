#include "narrowband/conceal_swt.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "narrowband/isf_tables.h"
#include "narrowband/memories.h"
#include "narrowband/plain_narrowband.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::encode;
using test::memories;
using test::mode_for;
using test::Words;
using ::testing::Each;

using Pcm = std::vector<std::int16_t>;

struct Decoder {
  NarrowbandDecoderShared shared;
  SwtDecoder swt;
  NarrowbandConcealment concealment;

  Decoder() { init_dec_swt(swt, shared); }
  void meet(const Words& prm) { meet_swt(concealment, swt, shared, prm.data()); }
  Pcm frame(const Words& prm) {
    Pcm out(144);
    meet(prm);
    dec_swt(swt, shared, mode_for(prm[0]), prm.data(), out.data(), 0, &concealment);
    return out;
  }
  Pcm lost(int flavor = 1) {
    Pcm out(144);
    conceal_swt(concealment, swt, shared, mode_for(flavor), out.data());
    return out;
  }
};

double energy(const Pcm& x) {
  double sum = 0.0;
  for (const std::int16_t v : x) sum += static_cast<double>(v) * v;
  return sum;
}

// Pulses 60 samples apart through a resonance.
Pcm vowel(int n) {
  Pcm pcm;
  double y1 = 0.0, y2 = 0.0;
  for (int i = 0; i < n; ++i) {
    const double y = (i % 60 == 0 ? 3000.0 : 0.0) + 1.6 * y1 - 0.85 * y2;
    y2 = y1;
    y1 = y;
    pcm.push_back(static_cast<std::int16_t>(y));
  }
  return pcm;
}

Pcm hiss(int n) {
  Pcm pcm;
  for (const float v : test::noise(n, 5, 800.0)) pcm.push_back(static_cast<std::int16_t>(v));
  return pcm;
}

Decoder behind(const std::vector<Words>& frames, std::size_t count) {
  Decoder d;
  for (std::size_t k = 0; k < count; ++k) d.frame(frames[k]);
  return d;
}

TEST(ConcealSwt, AVoicedPastGoesOnWithoutACode) {
  Decoder d = behind(encode(1, vowel(144 * 20)), 20);
  const std::int16_t seed = d.shared.seed;
  d.lost();
  EXPECT_EQ(d.concealment.fill.voiced, 1);
  EXPECT_EQ(d.shared.seed, seed);
  EXPECT_NEAR(d.swt.old_pitch, 180, 3);  // 60 samples; half of what the lag wavers by
  // Every sample of the excitation is 0.8 of one a lag back, or more, but for the low-pass of the
  // interpolation, which takes most from pulses as sharp as these.
  const float* end = d.swt.synthesis.exc();
  double same = 0.0, all = 0.0;
  for (int n = -70; n < 0; ++n) {
    same += static_cast<double>(end[n]) * end[n - 60];
    all += static_cast<double>(end[n - 60]) * end[n - 60];
  }
  EXPECT_GT(same, 0.5 * all);
}

TEST(ConcealSwt, AHissGoesOnWithACodeOfItsLevel) {
  Decoder d = behind(encode(1, hiss(144 * 20)), 20);
  const float level = d.concealment.past.code_energy[0];
  const std::int16_t seed = d.shared.seed;
  d.lost();
  EXPECT_EQ(d.concealment.fill.voiced, 0);
  EXPECT_NE(d.shared.seed, seed);
  EXPECT_EQ(d.concealment.fill.code_energy, level);
}

TEST(ConcealSwt, ThePredictorsStayAsTheLastReceivedFrameLeftThem) {
  Decoder d = behind(encode(0, vowel(144 * 20)), 20);
  const auto gains = d.shared.gains.past_qua_en;
  const auto residual = d.shared.isf.past_r, isf = d.shared.isf.past_isf;
  for (int k = 0; k < 5; ++k) d.lost(0);
  EXPECT_EQ(d.shared.gains.past_qua_en, gains);
  EXPECT_EQ(d.shared.isf.past_r, residual);
  EXPECT_EQ(d.shared.isf.past_isf, isf);
}

TEST(ConcealSwt, TheSpectrumMovesTowardsItsMean) {
  Decoder d = behind(encode(1, vowel(144 * 20)), 20);
  std::array<float, 10> deviation;
  for (std::size_t i = 0; i < 10; ++i) deviation[i] = d.shared.isf.past_isf[i] - mean_isf[i];
  for (const float kept : {0.9f, 0.95f, 0.95f}) {
    d.lost();
    std::array<float, 10> isp;
    for (std::size_t i = 0; i < 10; ++i) {
      deviation[i] *= kept;
      isp[i] = mean_isf[i] + deviation[i];
      EXPECT_NEAR(d.concealment.deviation[i], deviation[i], 1e-3);
    }
    isf_to_isp(isp.data(), isp.data());
    for (std::size_t i = 0; i < 10; ++i) EXPECT_NEAR(d.swt.synthesis.isfold[i], isp[i], 1e-5);
  }
}

// 18 ms each: nothing is left behind the eighth but what the filters ring on.
TEST(ConcealSwt, ALongLossKeepsItsLevelFirstAndIsSilentBefore160Milliseconds) {
  Decoder d = behind(encode(1, vowel(144 * 20)), 19);
  const double before = energy(d.frame(encode(1, vowel(144 * 20))[19]));
  const double first = energy(d.lost());
  // 5 dB below at most: speech mostly falls a little in 18 ms.
  EXPECT_GT(first, 0.3 * before);
  EXPECT_LT(first, before);
  for (int k = 1; k < 7; ++k) EXPECT_LT(energy(d.lost()), first);
  EXPECT_LT(energy(d.lost()), 1e-3 * before);
  d.lost();
  for (int k = 0; k < 500; ++k) EXPECT_THAT(d.lost(), Each(0));
}

TEST(ConcealSwt, BehindALossTheMemoriesAreTheEstimates) {
  const auto frames = encode(1, vowel(144 * 30));
  for (const int lost : {1, 2, 3}) {
    Decoder d = behind(frames, 20), untouched = d;
    for (int k = 0; k < lost; ++k) d.lost();
    const auto last_isp = d.swt.synthesis.isfold;
    const Words& next = frames[20 + static_cast<std::size_t>(lost)];
    d.meet(next);
    EXPECT_NE(d.shared.gains.past_qua_en, untouched.shared.gains.past_qua_en);
    EXPECT_NE(d.shared.isf.past_r, untouched.shared.isf.past_r);
    // Filters are interpolated from an estimate behind one lost frame, from what was played behind
    // more.
    EXPECT_EQ(d.swt.synthesis.isfold == last_isp, lost > 1);
    EXPECT_EQ(d.concealment.lost, 0);
    EXPECT_EQ(d.concealment.watched, 6);
  }
}

TEST(ConcealSwt, MeetingAFrameTwiceIsMeetingItOnce) {
  const auto frames = encode(0, vowel(144 * 30));
  Decoder once = behind(frames, 20);
  once.lost(0);
  Decoder twice = once;
  twice.meet(frames[21]);
  EXPECT_EQ(twice.frame(frames[21]), once.frame(frames[21]));
  EXPECT_EQ(memories(twice.swt.synthesis), memories(once.swt.synthesis));
}

TEST(ConcealSwt, WithoutALossNothingIsTouched) {
  for (const int flavor : {0, 1}) {
    const auto frames = encode(flavor, test::speech_like_pcm(144 * 60, 3));
    Decoder d;
    NarrowbandDecoderShared shared;
    SwtDecoder plain;
    init_dec_swt(plain, shared);
    for (const Words& prm : frames) {
      Pcm expected(144);
      dec_swt(plain, shared, mode_for(flavor), prm.data(), expected.data(), 0);
      ASSERT_EQ(d.frame(prm), expected);
    }
    EXPECT_EQ(memories(d.swt.synthesis), memories(plain.synthesis));
  }
}

// The excitation history is silent behind a long loss, and so is what leads on from it.
TEST(ConcealSwt, ALongLossReturnsSoftly) {
  const auto frames = encode(1, vowel(144 * 60));
  Decoder d = behind(frames, 20), clean = behind(frames, 40);
  for (int k = 0; k < 20; ++k) d.lost();
  double most = 0.0;
  for (std::size_t k = 40; k < 60; ++k) {
    most = std::max(most, energy(d.frame(frames[k])) / energy(clean.frame(frames[k])));
  }
  EXPECT_LT(most, 1.3);
}

// Frames of no encoder, any of them lost.
TEST(ConcealSwt, WhateverWasHeardEveryMemoryStaysANumber) {
  test::Random random(11);
  for (const int flavor : {0, 1}) {
    Decoder d;
    d.frame(test::random_words(flavor, random));
    for (int k = 0; k < 3000; ++k) {
      if (random.integer(0, 2) == 0) {
        d.lost(flavor);
      } else {
        d.frame(test::random_words(flavor, random));
      }
      for (const float v : memories(d.swt.synthesis)) ASSERT_TRUE(std::isfinite(v));
      for (const float v : memories(d.shared)) ASSERT_TRUE(std::isfinite(v));
      for (const float v : d.concealment.ceiling.level_of) ASSERT_TRUE(std::isfinite(v));
    }
  }
}

}  // namespace
}  // namespace quel
