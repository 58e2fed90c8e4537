#include "dsp/fill.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <utility>

namespace quel {
namespace {

constexpr FillRule rule = {.voiced_above = 0.6f,
                           .least = 0.8f,
                           .most = 0.95f,
                           .averaged = 2,
                           .unvoiced_change = -6.0f,
                           .drift_span = 4,
                           .drift_limit = 9.0f,
                           .drift_steps = 3,
                           .shortest = 60,
                           .longest = 400};

struct Heard {
  std::int32_t lag;
  float gain, energy;
};

// Oldest first.
ExcitationPast past_of(std::initializer_list<Heard> subframes) {
  ExcitationPast past;
  for (const Heard& heard : subframes) remember(past, heard.lag, heard.gain, heard.energy);
  return past;
}

TEST(Fill, ThePastHoldsTheLastSubframesNewestFirst) {
  ExcitationPast past;
  for (int k = 1; k <= 8; ++k)
    remember(past, k, 0.1f * static_cast<float>(k), static_cast<float>(-k));
  EXPECT_EQ(past.lag, (std::array<std::int32_t, 6>{8, 7, 6, 5, 4, 3}));
  EXPECT_EQ(past.code_energy, (std::array<float, 6>{-8, -7, -6, -5, -4, -3}));
  EXPECT_FLOAT_EQ(past.pitch_gain[0], 0.8f);
}

TEST(Fill, NoiseStandsForAllThatWasBefore) {
  auto past = past_of({{90, 0.9f, 60.0f}, {93, 0.9f, 60.0f}, {96, 0.9f, 60.0f}, {99, 0.9f, 60.0f}});
  remember_noise(past, 20.0f);
  const Fill fill = fill_from(past, rule);
  EXPECT_EQ(fill.voiced, 0);
  EXPECT_EQ(fill.pitch_gain, 0.0f);
  EXPECT_EQ(fill.code_energy, 14.0f);
  EXPECT_EQ(fill.lag, 99.0f);
  EXPECT_EQ(fill.drift, 0.0f);
  EXPECT_EQ(past.lag.back(), 99);
}

TEST(Fill, TheMedianLeavesTheLeastAndTheLargestGainOut) {
  const auto past =
      past_of({{1, 9.0f, 0}, {1, 0.5f, 0}, {1, 0.25f, 0}, {1, 1.25f, 0}, {1, 0.0f, 0}});
  EXPECT_EQ(median_pitch_gain(past), 0.375f);  // of 0.5, 0.25, 1.25, 0
}

TEST(Fill, AVoicedPastGoesOnWithAGainHeldInsideItsBounds) {
  for (const auto& [median, gain] : {std::pair{0.61f, 0.8f}, {0.9f, 0.9f}, {1.2f, 0.95f}}) {
    const auto past = past_of({{90, median, 0}, {90, median, 0}, {90, median, 0}, {90, median, 0}});
    const Fill fill = fill_from(past, rule);
    EXPECT_EQ(fill.voiced, 1);
    EXPECT_EQ(fill.pitch_gain, gain);
  }
}

TEST(Fill, AnUnvoicedPastKeepsItsGainAndTheMeanLevelOfItsCode) {
  const auto past = past_of({{90, 0.5f, 99}, {90, 0.6f, 99}, {90, 0.6f, 20}, {90, 0.7f, 30}});
  const Fill fill = fill_from(past, rule);
  EXPECT_EQ(fill.voiced, 0);  // 0.6 is not above 0.6
  EXPECT_EQ(fill.pitch_gain, 0.6f);
  EXPECT_EQ(fill.code_energy, 19.0f);  // 25 dB on average, 6 less
  EXPECT_EQ(fill.drift, 0.0f);
}

TEST(Fill, HalfOfTheLagsDriftGoesOnForSomeSubframes) {
  const auto past = past_of({{100, 1, 0}, {104, 1, 0}, {108, 1, 0}, {112, 1, 0}, {116, 1, 0}});
  const Fill fill = fill_from(past, rule);
  EXPECT_EQ(fill.drift, 4.0f);
  EXPECT_EQ(fill_lag(fill, rule, 0), 118);
  EXPECT_EQ(fill_lag(fill, rule, 1), 120);
  EXPECT_EQ(fill_lag(fill, rule, 2), 122);
  EXPECT_EQ(fill_lag(fill, rule, 3), 122);
  EXPECT_EQ(fill_lag(fill, rule, 1000), 122);
}

TEST(Fill, ALagThatJumpedStaysWhereItIs) {
  for (const std::int32_t first : {100 - 4 * 9, 100 + 4 * 9}) {
    const auto past = past_of({{first, 1, 0}, {100, 1, 0}, {100, 1, 0}, {100, 1, 0}, {100, 1, 0}});
    EXPECT_EQ(fill_from(past, rule).drift, 0.0f) << first;
  }
  for (const std::int32_t first : {100 - 4 * 9 + 1, 100 + 4 * 9 - 1}) {
    const auto past = past_of({{first, 1, 0}, {100, 1, 0}, {100, 1, 0}, {100, 1, 0}, {100, 1, 0}});
    EXPECT_NE(fill_from(past, rule).drift, 0.0f) << first;
  }
}

TEST(Fill, ALagOfBeforeAnythingWasHeardIsNoDrift) {
  const auto past = past_of({{8, 1, 0}, {8, 1, 0}, {8, 1, 0}, {8, 1, 0}});
  EXPECT_EQ(fill_from(past, rule).drift, 0.0f);
}

TEST(Fill, TheLagStaysInsideItsRange) {
  Fill fill;
  fill.lag = 398.0f;
  fill.drift = 8.0f;
  EXPECT_EQ(fill_lag(fill, rule, 5), 400);
  fill.lag = 62.0f;
  fill.drift = -8.0f;
  EXPECT_EQ(fill_lag(fill, rule, 5), 60);
}

}  // namespace
}  // namespace quel
