#include "narrowband/postproc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::noise;
using ::testing::Each;

constexpr float fac = 0.9f;

TEST(Preemph, IsADifferenceAcrossCalls) {
  const auto x = noise(96, 1);
  auto y = x;
  Preemphasis state;
  init_preemph(state);
  preemph(state, y.data(), 0.4f, 48);
  EXPECT_EQ(state.mem_pre, x[47]);  // the input, not the output
  preemph(state, y.data() + 48, 0.4f, 48);
  for (std::size_t n = 0; n < 96; ++n) {
    const double past = n == 0 ? 0.0 : x[n - 1];
    EXPECT_EQ(y[n], static_cast<float>(x[n] - static_cast<double>(0.4f) * past));
  }
}

TEST(Preemph, OneSampleUsesTheMemoryAlone) {
  Preemphasis state{10.0f};
  float x = 3.0f;
  preemph(state, &x, 0.5f, 1);
  EXPECT_EQ(x, -2.0f);
  EXPECT_EQ(state.mem_pre, 3.0f);
}

TEST(Preemph, InitClearsTheMemory) {
  Preemphasis state;
  EXPECT_EQ(state.mem_pre, 0.0f);
  state.mem_pre = 5;
  init_preemph(state);
  EXPECT_EQ(state.mem_pre, 0.0f);
}

TEST(Agc, LoadIsZeroAndInitIsOne) {
  GainControl state;
  EXPECT_EQ(state.gain_prec, 0.0f);
  init_agc(state);
  EXPECT_EQ(state.gain_prec, 1.0f);
}

// The factor is single precision: what remains for the wanted gain is 1 - 0.9f.
TEST(Agc, GlidesTowardsTheRatioOfTheRootEnergies) {
  const auto ref = noise(48, 2, 500), x = noise(48, 3, 2000);
  const double wanted = std::sqrt(test::dot(ref, ref) / test::dot(x, x));
  auto y = x;
  GainControl state;
  init_agc(state);
  agc(state, ref.data(), y.data(), 48, fac);
  for (std::size_t k = 0; k < 48; ++k) {
    const double gain = wanted + (1 - wanted) * std::pow(0.9, static_cast<double>(k + 1));
    // The float gain is rounded in each of up to 48 steps.
    EXPECT_NEAR(y[k], x[k] * gain, std::abs(x[k]) * gain * 48 * 6e-8);
  }
}

TEST(Agc, GivesTheReferencesEnergyInTheEnd) {
  const auto ref = noise(48, 4, 100), x = noise(48, 5, 3000);
  GainControl state;
  init_agc(state);
  std::vector<float> y;
  for (int subframe = 0; subframe < 5; ++subframe) {
    y = x;
    agc(state, ref.data(), y.data(), 48, fac);
  }
  // 0.9^192 of the first gain, 1, is left in front of the last subframe.
  EXPECT_NEAR(test::dot(y, y) / test::dot(ref, ref), 1.0, 1e-5);
}

TEST(Agc, EqualSignalsStayAsTheyAre) {
  const auto x = noise(48, 6);
  auto y = x;
  GainControl state;
  init_agc(state);
  agc(state, x.data(), y.data(), 48, fac);
  for (std::size_t k = 0; k < 48; ++k) EXPECT_NEAR(y[k], x[k], std::abs(x[k]) * 48 * 6e-8);
}

TEST(Agc, SilentOutputClearsTheGainSoThatTheNextStartsFromTheWantedGainAlone) {
  const auto ref = noise(48, 7), x = noise(48, 8);
  std::vector<float> silent(48);
  GainControl state;
  init_agc(state);
  agc(state, ref.data(), silent.data(), 48, fac);
  EXPECT_EQ(state.gain_prec, 0.0f);
  EXPECT_THAT(silent, Each(0.0f));

  auto y = x;
  agc(state, ref.data(), y.data(), 48, fac);
  const double g0 =
      (1.0 - static_cast<double>(fac)) * std::sqrt(test::dot(ref, ref) / test::dot(x, x));
  EXPECT_FLOAT_EQ(y[0], static_cast<float>(x[0] * g0));
  EXPECT_FLOAT_EQ(y[1], static_cast<float>(x[1] * (0.9 * g0 + g0)));
}

TEST(Agc, SilentReferenceFadesTheOutput) {
  const std::vector<float> silent(48), x(48, 1.0f);
  auto y = x;
  GainControl state;
  init_agc(state);
  agc(state, silent.data(), y.data(), 48, fac);
  for (std::size_t k = 0; k < 48; ++k) {
    EXPECT_NEAR(y[k], std::pow(0.9, static_cast<double>(k + 1)), 48 * 6e-8);
  }
  EXPECT_EQ(state.gain_prec, y[47]);
}

TEST(Agc, BothSilentClearsTheGain) {
  const std::vector<float> ref(48);
  std::vector<float> x(48);
  GainControl state;
  init_agc(state);
  agc(state, ref.data(), x.data(), 48, fac);
  EXPECT_EQ(state.gain_prec, 0.0f);
  EXPECT_THAT(x, Each(0.0f));
}

TEST(Agc, TheFaintestSignalsStayFinite) {
  for (const float faint : {1e-45f, 1e-38f, 1e-20f}) {
    for (const float loud : {1e-45f, 1.0f, 1e9f}) {
      const std::vector<float> ref(48, loud);
      std::vector<float> x(48, faint);
      GainControl state;
      init_agc(state);
      // A ratio beyond a float gives an infinite gain at worst, which the decoder's guard meets.
      agc(state, ref.data(), x.data(), 48, fac);
      for (const float v : x) EXPECT_FALSE(std::isnan(v));
    }
  }
}

}  // namespace
}  // namespace quel
