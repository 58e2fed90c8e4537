#include "dsp/level.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::noise;

constexpr int L = 48;

double mean_square_db(const std::vector<float>& x) {
  double sum = 0.0;
  for (const float v : x) sum += static_cast<double>(v) * v;
  return 10.0 * std::log10(sum / static_cast<double>(x.size()));
}

TEST(Level, AGainBringsAVectorToItsLevel) {
  for (const float level : {-20.0f, 0.0f, 34.0f, 80.0f}) {
    std::vector<float> x = noise(L, 1, 3.0);
    const float gain = gain_for_level(level, x.data(), L);
    for (float& v : x) v *= gain;
    EXPECT_NEAR(mean_square_db(x), level, 1e-4);  // floats of 24 bits
  }
}

TEST(Level, OfZerosNothingBecomesLoud) {
  const std::vector<float> zeros(L);
  EXPECT_EQ(gain_for_level(40.0f, zeros.data(), L), 0.0f);
  EXPECT_FLOAT_EQ(level_of(0.0, L), -30.0f);
}

TEST(Level, TheEnergyOfASumIsThatOfTheSamplesAdded) {
  const std::vector<float> x = noise(L, 1), y = noise(L, 2);
  std::vector<float> sum;
  for (std::size_t i = 0; i < x.size(); ++i) sum.push_back(0.5f * x[i] - 2.0f * y[i]);
  const double energy = energy_of(sum.data(), L);
  EXPECT_NEAR(energy_of_sum(x.data(), 0.5f, y.data(), -2.0f, L), energy, 1e-6 * energy);
}

TEST(Level, AFadeMovesInEqualStepsToItsEnd) {
  std::vector<float> x(4, 8.0f);
  fade(x.data(), 4, 1.0f, 0.5f);
  EXPECT_EQ(x, (std::vector<float>{7.0f, 6.0f, 5.0f, 4.0f}));
  fade(x.data(), 4, 0.0f, 0.0f);
  EXPECT_EQ(x, std::vector<float>(4));
}

// Levels of 60, 50 and 40 dB, oldest first: what a loss behind them is reckoned from.
struct Past {
  Past() {
    for (const float level : {60.0f, 50.0f, 40.0f}) {
      std::vector<float> part = noise(L, 5);
      const float gain = gain_for_level(level, part.data(), L);
      for (const float v : part) exc.push_back(gain * v);
    }
    remember(past, 300, 0.25f, 20.0f);
    remember(past, 100, 0.75f, 21.0f);
    remember(past, 90, 1.0f, 42.0f);
    remember(past, 97, 0.5f, 35.0f);
  }
  const float* end() const { return exc.data() + exc.size(); }

  ExcitationPast past;
  std::vector<float> exc;
};

TEST(Level, TheFeaturesOfAFallAreTheseTwelve) {
  const Past p;
  const std::array<double, fall_features> expected = {1.0,   0.625, 0.5,  0.25, 7.0,  -10.0,
                                                      -10.0, 10.0,  10.0, -5.0, -8.0, -7.0};
  const auto features = features_of_fall(p.past, p.end(), L);
  for (std::size_t i = 0; i < fall_features; ++i) EXPECT_NEAR(features[i], expected[i], 1e-3) << i;
}

TEST(Level, AFallIsNoRiseAndAJumpOfTheLagCountsToThirty) {
  Past p;
  std::vector<float> risen(p.exc.rbegin(), p.exc.rend());
  remember(p.past, 400, 0.5f, 35.0f);
  const auto features = features_of_fall(p.past, risen.data() + risen.size(), L);
  EXPECT_EQ(features[4], 30.0);
  EXPECT_NEAR(features[5], 10.0, 1e-3);
  EXPECT_EQ(features[7], 0.0);
  EXPECT_EQ(features[8], 0.0);
}

TEST(Level, ACeilingIsTheLastLevelTheWeightedFeaturesAndTheAllowance) {
  const Past p;
  const FallWeights weights[] = {{-3.0f}, {-5.0f, 8.0f, 0, 0, 0, 0.5f}};
  const Ceiling ceiling = ceiling_from(p.past, p.end(), L, weights, 2, 1.0f);
  EXPECT_NEAR(ceiling.level, 40.0, 1e-3);
  EXPECT_NEAR(ceiling.at(0), 38.0, 1e-3);
  EXPECT_NEAR(ceiling.at(1), 36.0, 1e-3);  // 40 + 1 - 5 + 8 * 0.625 - 0.5 * 10
  EXPECT_EQ(ceiling.at(2), ceiling.at(1));
  EXPECT_EQ(ceiling.at(999), ceiling.at(1));
  EXPECT_EQ(ceiling.part, 1.0f);
}

TEST(Level, WhatLiesUnderTheCeilingIsLeftAlone) {
  const double energy = 1000.0 * L;  // 30 dB
  EXPECT_EQ(held_part(0.9f, energy, L, 30.0f), 0.9f);
  EXPECT_EQ(held_part(0.9f, 0.0, L, -50.0f), 0.9f);
}

TEST(Level, WhatLiesAboveTheCeilingIsBroughtToIt) {
  const double energy = 1000.0 * L;
  for (const float part : {1.0f, 0.5f}) {
    const double held = held_part(part, energy, L, 20.0f);
    EXPECT_NEAR(10.0 * std::log10(held * held * energy / L), 20.0, 1e-4) << part;
  }
}

// 1 + 14 g dB over the code; a gain of more than 1 counts as 1.
TEST(Level, ThePitchGainIsCappedByWhatTheCodeHas) {
  for (const double g : {0.2, 0.7, 1.0, 1.3}) {
    const double most = std::pow(10.0, (1.0 + 14.0 * std::min(g, 1.0)) / 10.0);
    const auto gain = static_cast<float>(g);
    const double adaptive = 50.0 * most / (g * g);  // right at it for a code of 50
    EXPECT_EQ(capped_pitch_gain(gain, 0.999 * adaptive, 50.0), gain);
    const double capped = capped_pitch_gain(gain, 16.0 * adaptive, 50.0);
    EXPECT_NEAR(capped, 0.25 * g, 1e-6) << g;
  }
}

TEST(Level, BesideNoCodeTheresNoPast) {
  EXPECT_EQ(capped_pitch_gain(0.8f, 1.0, 0.0), 0.0f);
  EXPECT_EQ(capped_pitch_gain(0.8f, 0.0, 0.0), 0.8f);
}

}  // namespace
}  // namespace quel
