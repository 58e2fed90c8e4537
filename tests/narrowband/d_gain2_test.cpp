#include "narrowband/d_gain2.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "narrowband/q_gain2.h"
#include "support/signals.h"

namespace quel {
namespace {

constexpr float t_qua_gain[][2] = {
#include "narrowband/t_qua_gain.inc"
};

using Energies = std::array<float, 4>;

const std::vector<float> code(48, 1.0f);

struct Gains {
  float pit, code;
};

Gains run(GainDequantizer& state, int index, int bfi, int i_subfr = 0, float fac = 1.0f / 6.0f) {
  Gains g{-1.0f, -1.0f};
  d_gain2(state, index, code.data(), 48, &g.pit, &g.code, bfi, i_subfr, fac);
  return g;
}

GainDequantizer started() {
  GainDequantizer state;
  init_d_gain2(state);
  return state;
}

TEST(DGain2, InitResetsEnergiesAndLastGains) {
  GainDequantizer state;
  EXPECT_EQ(state.past_qua_en, Energies{});
  state.last_gain_pit = 0.5f;
  state.last_gain_code = 20.0f;
  init_d_gain2(state);
  EXPECT_EQ(state.past_qua_en, (Energies{-14, -14, -14, -14}));
  EXPECT_EQ(state.last_gain_pit, 0.0f);
  EXPECT_EQ(state.last_gain_code, 0.0f);
}

TEST(DGain2, ClearLastGainsLeavesTheEnergies) {
  auto state = started();
  run(state, 90, 0);
  const auto past = state.past_qua_en;
  clear_last_gains(state);
  EXPECT_EQ(state.past_qua_en, past);
  EXPECT_EQ(run(state, 90, 2).pit, 0.0f);
  EXPECT_EQ(run(state, 90, 2).code, 0.0f);
}

TEST(DGain2, GoodSubframesFollowTheEncoder) {
  test::Random random(1);
  GainQuantizer encoder;
  init_q_gain2(encoder);
  auto decoder = started();
  for (int subframe = 0; subframe < 500; ++subframe) {
    SCOPED_TRACE(subframe);
    const auto vector = test::noise(48, static_cast<unsigned>(subframe), 0.5);
    float g_coeff[5], gain_pit = static_cast<float>(random.uniform(0.0, 1.2)), gain_code = 0.0f;
    for (float& c : g_coeff) c = static_cast<float>(random.uniform(-1000.0, 1000.0));
    const auto index =
        q_gain2(encoder, vector.data(), 48, &gain_pit, &gain_code, g_coeff, subframe % 2);
    Gains decoded{};
    d_gain2(decoder, index, vector.data(), 48, &decoded.pit, &decoded.code, 0, 0, 0.0f);
    EXPECT_EQ(decoded.pit, gain_pit);
    EXPECT_EQ(decoded.code, gain_code);
    EXPECT_EQ(decoder.past_qua_en, encoder.past_qua_en);
    EXPECT_EQ(decoder.last_gain_pit, gain_pit);
    EXPECT_EQ(decoder.last_gain_code, gain_code);
  }
}

TEST(DGain2, EveryIndexGivesItsRow) {
  for (int index = 0; index < 128; ++index) {
    auto state = started();
    const auto gains = run(state, index, 0);
    EXPECT_EQ(gains.pit, t_qua_gain[index][0]);
    // 34 - 14 * 1.729 dB less the code's energy, to the roundings of two float dB values
    const double gcode0 =
        std::pow(10.0, (34.0 - 14.0 * 1.729 - 10.0 * std::log10(48.01 / 48)) / 20);
    EXPECT_NEAR(gains.code, gcode0 * t_qua_gain[index][1], 1e-6 * gains.code);
    EXPECT_NEAR(state.past_qua_en[0], 20.0 * std::log10(t_qua_gain[index][1]), 2e-6);
    EXPECT_EQ(state.past_qua_en[1], -14.0f);
  }
}

TEST(DGain2, RunOfLossesWithoutHelpFadesBothGains) {
  auto state = started();
  run(state, 64, 0);
  double pit = state.last_gain_pit, code_gain = state.last_gain_code;
  for (int lost = 0; lost < 30; ++lost) {
    const auto gains = run(state, 127, 2, 48 * (lost % 3));
    pit *= 0.9;
    code_gain *= 0.8;
    // Thirty roundings, and the factors as floats: 5e-8 each.
    EXPECT_NEAR(gains.pit, pit, 5e-6 * pit);
    EXPECT_NEAR(gains.code, code_gain, 5e-6 * code_gain);
    EXPECT_EQ(state.last_gain_pit, gains.pit);
    EXPECT_EQ(state.last_gain_code, gains.code);
  }
}

TEST(DGain2, LossWithoutHelpStoresThePitchGainLimitedToOne) {
  auto state = started();
  run(state, 127, 0);  // 1.301
  EXPECT_EQ(run(state, 0, 2).pit, 1.0f);
  EXPECT_EQ(state.last_gain_pit, 1.0f);
  EXPECT_EQ(run(state, 0, 2, 48).pit, 0.9f);
  state.last_gain_pit = 1.05f;  // 0.945: no limit needed
  EXPECT_EQ(run(state, 0, 2).pit, 0.9f * 1.05f);
}

TEST(DGain2, HelpedLossReturnsOneButStoresTheUnlimitedPitchGain) {
  auto state = started();
  state.last_gain_pit = 0.9f;
  const float step = static_cast<float>((double{t_qua_gain[127][0]} - double{0.9f}) * 0.5);
  EXPECT_EQ(run(state, 127, 1, 0, 0.5f).pit, 1.0f);
  EXPECT_EQ(state.last_gain_pit, 0.9f + step);
  EXPECT_GT(state.last_gain_pit, 1.0f);
  EXPECT_EQ(run(state, 127, 1, 48, 0.5f).pit, 1.0f);
  EXPECT_EQ(state.last_gain_pit, 0.9f + step + step);
}

TEST(DGain2, HelpedLossStepsByAPartOfTheDistance) {
  auto state = started();
  run(state, 64, 0);
  const double from = t_qua_gain[64][0], to = t_qua_gain[10][0];
  for (int s = 0; s < 5; ++s) {
    // Only the first subframe's index and factor set the step.
    const auto gains = s == 0 ? run(state, 10, 1) : run(state, 127, 1, 48 * s, 1.0f);
    EXPECT_NEAR(gains.pit, from + (to - from) * (s + 1) / 6.0, 1e-6);  // float steps
  }
}

TEST(DGain2, HelpedLossFadesTheCodeGain) {
  auto state = started();
  const float before = run(state, 64, 0).code;
  EXPECT_EQ(run(state, 127, 1).code, 0.8f * before);
  EXPECT_EQ(run(state, 127, 1, 48).code, 0.8f * (0.8f * before));
}

TEST(DGain2, EnergyMemoryOfALossIsAFifthOfTheSumLess2Point8) {
  for (const int bfi : {1, 2}) {
    GainDequantizer state;
    state.past_qua_en = {5.0f, -3.0f, 7.5f, -20.0f};
    run(state, 0, bfi);
    // Not a fifth of the mean: 0.2 * -10.5 - 2.8.
    EXPECT_NEAR(state.past_qua_en[0], -4.9, 1e-6);
    EXPECT_EQ(state.past_qua_en[1], 5.0f);
    EXPECT_EQ(state.past_qua_en[2], -3.0f);
    EXPECT_EQ(state.past_qua_en[3], 7.5f);
  }
}

TEST(DGain2, EnergyMemoryOfARunOfLossesEndsAtMinus14) {
  for (const int bfi : {1, 2}) {
    auto state = started();
    run(state, 0, bfi);
    EXPECT_EQ(state.past_qua_en[0], -14.0f);  // its rest point, exactly
    state.past_qua_en = {9.0f, 9.0f, 9.0f, 9.0f};
    for (int lost = 0; lost < 300; ++lost) run(state, 0, bfi, 48 * (lost % 5));
    for (const float e : state.past_qua_en) EXPECT_NEAR(e, -14.0f, 1e-5f);  // a few roundings
  }
}

TEST(DGain2, LostSubframesNeverReturnAPitchGainAboveOne) {
  test::Random random(4);
  auto state = started();
  for (int subframe = 0; subframe < 2000; ++subframe) {
    const int bfi = random.integer(0, 2);
    const auto gains = run(state, random.integer(0, 127), bfi, 48 * random.integer(0, 4));
    if (bfi != 0) {
      EXPECT_LE(gains.pit, 1.0f);
    }
    EXPECT_TRUE(std::isfinite(gains.pit));
    EXPECT_TRUE(std::isfinite(gains.code));
  }
}

TEST(DGain2, OnlySevenBitsOfTheIndexCount) {
  for (const int bfi : {0, 1}) {
    auto state = started(), other = started();
    const auto gains = run(state, 77, bfi);
    for (const int above : {128, -128, 1 << 20, -(1 << 30)}) {
      other = started();
      const auto wide = run(other, 77 + above, bfi);
      EXPECT_EQ(wide.pit, gains.pit);
      EXPECT_EQ(wide.code, gains.code);
    }
  }
}

// A host may reset in the middle of a lost frame; the pitch gain then goes on in the same steps.
TEST(DGain2, InitLeavesTheStep) {
  auto state = started();
  run(state, 127, 1);
  const float step = state.step;
  ASSERT_GT(step, 0.0f);
  init_d_gain2(state);
  EXPECT_EQ(state.step, step);
  EXPECT_EQ(run(state, 0, 1, 48).pit, step);
}

}  // namespace
}  // namespace quel
