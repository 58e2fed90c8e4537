#include "narrowband/gain_tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <vector>

#include "support/signals.h"

namespace quel::narrowband {
namespace {

constexpr float t_qua_gain[][2] = {
#include "narrowband/t_qua_gain.inc"
};

using Energies = std::array<float, 4>;

constexpr Energies start = {-14.0f, -14.0f, -14.0f, -14.0f};

TEST(GainTables, GivenRowsStandAtTheirNumbers) {
  struct Given {
    int row;
    float g_p, gamma;
  };
  constexpr Given given[] = {{0, 0.03523f, 0.16154f},     {1, 0.049223f, 0.448359f},
                             {31, 0.498917f, 0.971238f},  {32, 0.530996f, 0.785765f},
                             {63, 0.756587f, 0.893078f},  {64, 0.767797f, 0.499246f},
                             {95, 0.939166f, 2.378294f},  {101, 0.990141f, 1.330022f},
                             {102, 0.996447f, 1.823381f}, {127, 1.301176f, 1.923126f}};
  for (const auto& g : given) {
    EXPECT_NEAR(t_qua_gain[g.row][0], g.g_p, 5.1e-7f) << g.row;  // known to six decimals
    EXPECT_NEAR(t_qua_gain[g.row][1], g.gamma, 5.1e-7f) << g.row;
  }
}

TEST(GainTables, PitchGainsRiseAndCorrectionsAreAboveZero) {
  EXPECT_EQ(std::size(t_qua_gain), static_cast<std::size_t>(nb_qua_gain));
  EXPECT_TRUE(rows_rise(t_qua_gain));
  for (const auto& row : t_qua_gain) EXPECT_GT(row[1], 0.0f);
  constexpr float equal[][2] = {{0.1f, 1}, {0.2f, 1}, {0.2f, 2}};
  EXPECT_FALSE(rows_rise(equal));
}

TEST(GainTables, FirstPredictionInNumbers) {
  // A code of energy 48 over 48 samples: 34 - 14 * 1.729 - 0.0009 = 9.793 dB.
  const std::vector<float> code(48, 1.0f);
  const double ener = 10.0 * std::log10(48.01 / 48.0);
  EXPECT_NEAR(ener, 0.0009, 5e-5);
  const double pred_en = 34.0 - 14.0 * (0.691 + 0.504 + 0.334 + 0.2) - ener;
  EXPECT_NEAR(pred_en, 9.793, 5e-4);
  const float gcode0 = predict_code_gain(start, code.data(), 48);
  // The dB value is rounded to float: 5e-7 dB at most.
  EXPECT_NEAR(20.0 * std::log10(gcode0), pred_en, 2e-6);
}

TEST(GainTables, PredictionFollowsItsFormula) {
  test::Random random(1);
  for (int run = 0; run < 200; ++run) {
    Energies past;
    for (float& e : past) e = static_cast<float>(random.uniform(-20.0, 10.0));
    const auto code = test::noise(48, static_cast<unsigned>(run), random.uniform(0.1, 3.0));
    const double ener = 10.0 * std::log10((0.01 + test::dot(code, code)) / 48.0);
    const double pred_en =
        34.0 + 0.691 * past[0] + 0.504 * past[1] + 0.334 * past[2] + 0.2 * past[3] - ener;
    const float gcode0 = predict_code_gain(past, code.data(), 48);
    EXPECT_NEAR(20.0 * std::log10(gcode0), pred_en, 1e-5);  // roundings of values up to 60 dB
  }
}

TEST(GainTables, AllZeroCodeHasAFinitePrediction) {
  const std::vector<float> code(48);
  const double pred_en = 34.0 - 14.0 * 1.729 - 10.0 * std::log10(0.01 / 48.0);
  EXPECT_NEAR(20.0 * std::log10(predict_code_gain(start, code.data(), 48)), pred_en, 1e-5);
}

TEST(GainTables, LouderCodeNeedsTheSmallerGain) {
  const std::vector<float> code(48, 10.0f), louder(48, 100.0f);
  const float ratio =
      predict_code_gain(start, code.data(), 48) / predict_code_gain(start, louder.data(), 48);
  EXPECT_NEAR(ratio, 10.0f, 1e-4f);  // the bias weighs 2e-6 of the smaller energy
}

TEST(GainTables, EnergiesEnterInFront) {
  Energies past = {1, 2, 3, 4};
  push_energy(past, 5);
  EXPECT_EQ(past, (Energies{5, 1, 2, 3}));
}

TEST(GainTables, CorrectionEnergyInDecibels) {
  EXPECT_EQ(correction_energy(1.0f), 0.0f);
  EXPECT_EQ(correction_energy(10.0f), 20.0f);
  EXPECT_EQ(correction_energy(0.5f), static_cast<float>(20.0 * std::log10(0.5)));
}

// The encoder's and the decoder's choice of gains rests on this rounding.
TEST(GainTables, PredictionInDecibelsIsRoundedToFloat) {
  test::Random random(2);
  int unrounded_differ = 0;
  for (unsigned run = 0; run < 1000; ++run) {
    Energies past;
    for (float& e : past) e = static_cast<float>(random.uniform(-20.0, 10.0));
    const auto code = test::noise(48, run, 0.5);
    double energy = 0.01f, pred_en = 34.0;
    for (const double v : code) energy += v * v;
    const auto ener = static_cast<float>(10.0 * std::log10(energy / 48));
    constexpr float factors[] = {0.691f, 0.504f, 0.334f, 0.2f};
    for (std::size_t i = 0; i < 4; ++i) pred_en += double{factors[i]} * past[i];
    pred_en -= ener;
    const double rounded = static_cast<float>(pred_en);
    const auto expected = static_cast<float>(std::pow(10.0, rounded / 20.0));
    EXPECT_EQ(predict_code_gain(past, code.data(), 48), expected);
    unrounded_differ += static_cast<float>(std::pow(10.0, pred_en / 20.0)) != expected ? 1 : 0;
  }
  EXPECT_GT(unrounded_differ, 100);
}

}  // namespace
}  // namespace quel::narrowband
