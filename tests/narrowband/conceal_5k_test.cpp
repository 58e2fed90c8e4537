#include "narrowband/conceal_5k.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "narrowband/lag_code.h"
#include "narrowband/memories.h"
#include "narrowband/plain_narrowband.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::encode;
using test::memories;
using test::mode_for;
using test::Words;
using ::testing::Contains;
using ::testing::Each;
using ::testing::Ne;

using Pcm = std::vector<std::int16_t>;

// Gives the frame before the one that it is given.
struct Decoder {
  NarrowbandDecoderShared shared;
  FiveKDecoder own;
  NarrowbandConcealment concealment;

  Decoder() {
    init_shared(shared);
    init_decoder_5k(own, shared);
  }
  Pcm take(const Words* prm) {
    static const Words nothing{};
    Pcm out(240);
    decoder_5k(own, shared, mode_for(2), (prm != nullptr ? *prm : nothing).data() + 1, out.data(),
               prm != nullptr ? 0 : 1, &concealment);
    return out;
  }
};

// Frames 0..count-1 have been given.
Decoder behind(const std::vector<Words>& frames, std::size_t count) {
  Decoder d;
  for (std::size_t k = 0; k < count; ++k) d.take(&frames[k]);
  return d;
}

// Pulses through a resonance, their distance falling from 64 samples.
Pcm vowel(int n, int step) {
  Pcm pcm;
  double y1 = 0.0, y2 = 0.0;
  int left = 0, distance = 64;
  for (int i = 0; i < n; ++i) {
    double x = 0.0;
    if (left-- == 0) {
      x = 3000.0;
      left = std::max(distance -= step, 30) - 1;
    }
    const double y = x + 1.6 * y1 - 0.85 * y2;
    y2 = y1;
    y1 = y;
    pcm.push_back(static_cast<std::int16_t>(y));
  }
  return pcm;
}

double energy(const Pcm& x) {
  double sum = 0.0;
  for (const std::int16_t v : x) sum += static_cast<double>(v) * v;
  return sum;
}

std::int32_t first_lag(const Words& prm) {
  const Lag lag = decode_absolute_lag(prm[6]);
  return 3 * lag.T0 + lag.frac;
}

TEST(Conceal5k, ALoneLossIsLedFiveSixthsOfTheWayToTheNextFramesLag) {
  const auto frames = encode(2, vowel(240 * 20, 1));
  int moved = 0;
  for (std::size_t k = 2; k < 18; ++k) {
    Decoder d = behind(frames, k);
    d.take(nullptr);
    const std::int32_t last = d.concealment.past.lag[0], next = first_lag(frames[k + 1]);
    if (std::abs(next - last) >= 0.3 * last) continue;
    if (next != last) ++moved;
    d.take(&frames[k + 1]);
    EXPECT_NEAR(d.own.old_pitch, last + 5.0 / 6.0 * (next - last), 0.51);  // in thirds, rounded
  }
  EXPECT_GT(moved, 1);
}

TEST(Conceal5k, ALagThatIsFarAwayIsTakenInTheSecondHalf) {
  auto frames = encode(2, vowel(240 * 20, 0));
  frames[11][6] = 255;  // 143 samples
  Decoder d = behind(frames, 10);
  d.take(nullptr);
  d.take(&frames[11]);
  EXPECT_EQ(d.own.old_pitch, 429.0f);
}

TEST(Conceal5k, TheLastOfARunOfLossesHasTheNextFramesLag) {
  const auto frames = encode(2, vowel(240 * 20, 1));
  Decoder d = behind(frames, 10);
  d.take(nullptr);
  d.take(nullptr);
  EXPECT_EQ(d.concealment.lost, 1);
  d.take(&frames[12]);
  EXPECT_EQ(d.own.old_pitch, static_cast<float>(first_lag(frames[12])));
  EXPECT_EQ(d.concealment.lost, 0);
}

// The next frame's memories are there before it is decoded, and hold through that.
TEST(Conceal5k, ALedFrameLeavesTheEstimatesBehind) {
  const auto frames = encode(2, vowel(240 * 20, 1));
  Decoder d = behind(frames, 10);
  d.take(nullptr);
  const auto energies = d.shared.gains.past_qua_en;
  const auto residual = d.shared.isf.past_r;
  Decoder more = d;
  d.take(&frames[11]);
  EXPECT_NE(d.shared.gains.past_qua_en, energies);
  EXPECT_NE(d.shared.isf.past_r, residual);
  EXPECT_EQ(d.concealment.first_good, 1);
  EXPECT_EQ(d.concealment.watched, 10);
  d.take(&frames[12]);
  EXPECT_EQ(d.concealment.first_good, 0);
  EXPECT_EQ(d.concealment.watched, 5);
  // One that leads nowhere leaves them as they were.
  more.take(nullptr);
  EXPECT_EQ(more.shared.gains.past_qua_en, energies);
  EXPECT_EQ(more.shared.isf.past_r, residual);
}

TEST(Conceal5k, TheSeedTheFirstFrameAndAllWithoutALossAreTheDecodersOwn) {
  const auto frames = encode(2, test::speech_like_pcm(240 * 60, 3));
  Decoder d;
  NarrowbandDecoderShared shared;
  FiveKDecoder plain;
  init_shared(shared);
  init_decoder_5k(plain, shared);
  for (const Words& prm : frames) {
    Pcm expected(240);
    decoder_5k(plain, shared, mode_for(2), prm.data() + 1, expected.data(), 0);
    ASSERT_EQ(d.take(&prm), expected);
  }
  EXPECT_EQ(memories(d.own), memories(plain));
  EXPECT_EQ(d.shared.seed, shared.seed);
}

TEST(Conceal5k, ALongLossIsSilentBehindFourFrames) {
  const auto frames = encode(2, vowel(240 * 20, 0));
  Decoder d = behind(frames, 20);
  const double before = energy(d.take(nullptr));
  const double first = energy(d.take(nullptr));
  EXPECT_GT(first, 0.2 * before);
  EXPECT_LT(first, before);
  for (int k = 0; k < 3; ++k) EXPECT_LT(energy(d.take(nullptr)), first);
  d.take(nullptr);
  for (int k = 0; k < 500; ++k) EXPECT_THAT(d.take(nullptr), Each(0));
}

// The spectrum before a vowel's quiet start says nothing of the vowel: no memory of it is left.
TEST(Conceal5k, WhereTheLevelJumpsTheSpectrumBeforeIsForgotten) {
  const auto frames = encode(2, vowel(240 * 20, 1));
  Decoder steady = behind(frames, 10);
  steady.take(nullptr);
  Decoder jump = steady;
  jump.concealment.past.code_energy.fill(-20.0f);
  steady.take(&frames[11]);
  EXPECT_THAT(steady.shared.isf.past_r, Contains(Ne(0.0f)));
  jump.take(&frames[11]);
  EXPECT_THAT(jump.shared.isf.past_r, Each(0.0f));
}

// Right behind a loss a filter may be twice as loud as the one before it.
TEST(Conceal5k, AFilterFarLouderThanTheOneBeforeIsHeldBack) {
  NarrowbandConcealment state;
  const float A[11] = {1.0f, -0.99f};  // a gain of 1/(1 - 0.99^2), cut off at 48 samples
  double energy = 0.0;
  for (int n = 0; n < 48; ++n) energy += std::pow(0.99, 2 * n);
  state.filter_energy = static_cast<float>(energy / 16.0);
  EXPECT_EQ(filter_part(state, A), 1.0f);  // no loss before
  state.first_good = 1;
  EXPECT_NEAR(filter_part(state, A), std::sqrt(2.0 / 16.0), 1e-5);
  state.filter_energy = static_cast<float>(energy);
  EXPECT_EQ(filter_part(state, A), 1.0f);
}

TEST(Conceal5k, RightBehindALossFrequenciesAre100HzApart) {
  IsfDequantizer isf;
  isf.past_isf = {50, 100, 150, 1000, 1050, 2000, 2500, 3000, 3500, 65};
  std::array<float, 10> isp;
  spread_isp(isf, isp.data());
  const float expected[] = {100, 200, 300, 1000, 1100, 2000, 2500, 3000, 3500};
  for (std::size_t i = 0; i < 9; ++i) {
    EXPECT_NEAR(isp[i], std::cos(expected[i] * 3.14159265358979 / 4000.0), 1e-6) << i;
  }
  EXPECT_NEAR(isp[9], 0.1, 1e-6);
}

TEST(Conceal5k, WhateverWasHeardEveryMemoryStaysANumber) {
  test::Random random(11);
  Decoder d;
  for (int k = 0; k < 4000; ++k) {
    const Words prm = test::random_words(2, random);
    d.take(random.integer(0, 2) == 0 ? nullptr : &prm);
    for (const float v : memories(d.own)) ASSERT_TRUE(std::isfinite(v));
    for (const float v : memories(d.shared)) ASSERT_TRUE(std::isfinite(v));
    for (const float v : d.concealment.ceiling.level_of) ASSERT_TRUE(std::isfinite(v));
    ASSERT_TRUE(std::isfinite(d.concealment.filter_energy));
  }
}

}  // namespace
}  // namespace quel
