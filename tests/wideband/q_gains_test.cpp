#include "wideband/q_gains.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "support/signals.h"
#include "wideband/gain_tables16.h"

namespace quel {
namespace {

using test::Random;
using wideband::qua_gain_code;
using wideband::qua_gain_pitch;

int pitch_index(float gain) {
  return q_gain_pitch(&gain);
}

/// [0..79] ten unit pulses.
std::vector<float> pulses() {
  std::vector<float> code(80);
  for (std::size_t n = 0; n < 80; n += 8) code[n] = n % 16 == 0 ? 1.0f : -1.0f;
  return code;
}

TEST(GetGain, IsTheLeastSquaresGain) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    const auto x = test::noise(80, seed), y = test::noise(80, seed + 1000);
    const double plain = test::dot(x, y) / (0.01 + test::dot(y, y));
    EXPECT_NEAR(get_gain(x.data(), y.data(), 80), plain, 1e-12);  // order of a double sum
  }
}

TEST(GetGain, SilentExcitationGivesZero) {
  const auto x = test::noise(80, 1);
  const std::vector<float> y(80);
  EXPECT_EQ(get_gain(x.data(), y.data(), 80), 0.0);
}

TEST(GetGain, BiasKeepsTinyExcitationBounded) {
  const std::vector<float> x{1.0f}, y{0.1f};
  EXPECT_NEAR(get_gain(x.data(), y.data(), 1), 0.1 / 0.02, 1e-6);  // 0.1f is not 0.1
}

TEST(QGainPitch, WorkedValues) {
  float gain = 0.74f;
  EXPECT_EQ(q_gain_pitch(&gain), 6);
  EXPECT_EQ(gain, 0.75f);
  gain = 0.0f;
  EXPECT_EQ(q_gain_pitch(&gain), 0);
  EXPECT_EQ(gain, 0.0f);
}

TEST(QGainPitch, OutsideTheTableTakesItsEnds) {
  for (const float gain : {1.2001f, 1.3f, 1e6f, 1e20f, std::numeric_limits<float>::max(),
                           std::numeric_limits<float>::infinity()}) {
    EXPECT_EQ(pitch_index(gain), 15) << gain;
    EXPECT_EQ(pitch_index(-gain), 0) << gain;
  }
  EXPECT_EQ(pitch_index(-0.01f), 0);
}

TEST(QGainPitch, NotANumberTakesIndexZero) {
  float gain = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(q_gain_pitch(&gain), 0);
  EXPECT_EQ(gain, 0.0f);
}

TEST(QGainPitch, ATieKeepsTheLowerIndex) {
  EXPECT_EQ(pitch_index(0.1f), 0);  // exactly half of 0.2f
  EXPECT_EQ(pitch_index(std::nextafter(0.1f, 1.0f)), 1);
}

TEST(QGainPitch, EveryEntryQuantisesToItself) {
  for (int i = 0; i < 16; ++i) {
    float gain = qua_gain_pitch[static_cast<std::size_t>(i)];
    EXPECT_EQ(q_gain_pitch(&gain), i);
    EXPECT_EQ(gain, qua_gain_pitch[static_cast<std::size_t>(i)]);
  }
}

TEST(QGainPitch, NoEntryIsNearer) {
  Random random(1);
  for (int trial = 0; trial < 2000; ++trial) {
    const auto given = static_cast<float>(random.uniform(-0.5, 1.6));
    float gain = given;
    q_gain_pitch(&gain);
    for (const float entry : qua_gain_pitch) {
      EXPECT_LE(std::fabs(static_cast<double>(given) - gain),
                std::fabs(static_cast<double>(given) - entry));
    }
  }
}

TEST(GainTables16, AreTheStoredValues) {
  EXPECT_EQ(qua_gain_code[0], 0.0749899969f);
  EXPECT_EQ(qua_gain_code[31], 13.3352098f);
  EXPECT_TRUE(std::is_sorted(qua_gain_code.begin(), qua_gain_code.end()));
  EXPECT_TRUE(std::is_sorted(qua_gain_pitch.begin(), qua_gain_pitch.end()));
}

TEST(PredictedCodeGain, AtLoadIsMinusPointSixLessTheEnergy) {
  const auto code = pulses();
  const float energy = wideband::code_energy(code.data(), 80);
  EXPECT_NEAR(energy, 10 * std::log10(10.01 / 80), 1e-6);  // float of a number near 9
  const float gc0 = wideband::predicted_code_gain({-14.0f, -14.0f}, energy);
  EXPECT_NEAR(20 * std::log10(gc0), -0.6 - energy, 2e-6);  // floats of p and of gc0
}

TEST(QGainCode, NoCorrectionIsNearer) {
  Random random(2);
  CodeGainQuantizer state;
  const auto code = pulses();
  for (int trial = 0; trial < 2000; ++trial) {
    const double energy = 10 * std::log10((0.01 + test::dot(code, code)) / 80);
    const double p = 19 + 0.8 * state.past_qua_en[0] + 0.6 * state.past_qua_en[1] - energy;
    const double gc0 = std::pow(10, p / 20);
    const auto given = static_cast<float>(gc0 * std::exp(random.uniform(-4, 4)));
    float gain = given;
    const auto before = state.past_qua_en;
    const int index = q_gain_code(state, code.data(), 80, &gain);
    const double row = qua_gain_code[static_cast<std::size_t>(index)];
    EXPECT_NEAR(gain, gc0 * row, 2e-6 * gain);  // p and gc0 are rounded to float
    EXPECT_NEAR(state.past_qua_en[0], 20 * std::log10(row), 2e-6);
    EXPECT_EQ(state.past_qua_en[1], before[0]);
    for (const double entry : qua_gain_code) {
      EXPECT_LE(std::fabs(given - gain), std::fabs(given - gc0 * entry) + 1e-5 * given);
    }
  }
}

TEST(QGainCode, ExtremesTakeTheEndsOfTheTable) {
  const auto code = pulses();
  for (const float gain : {1e10f, 1e30f, std::numeric_limits<float>::infinity()}) {
    CodeGainQuantizer state;
    float high = gain, low = -gain;
    EXPECT_EQ(q_gain_code(state, code.data(), 80, &high), 31);
    EXPECT_EQ(q_gain_code(state, code.data(), 80, &low), 0);
    EXPECT_TRUE(std::isfinite(high) && std::isfinite(low));
  }
  CodeGainQuantizer state;
  float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(q_gain_code(state, code.data(), 80, &nan), 0);
  EXPECT_TRUE(std::isfinite(nan));
}

TEST(QGainCode, ATieKeepsTheLowerIndex) {
  // Where the predicted gain is 1, the middle of two entries can be a float.
  const auto code = pulses();
  const float energy = wideband::code_energy(code.data(), 80);
  CodeGainQuantizer start{{(energy - 19.0f) / 0.8f, 0.0f}};
  for (int i = 0; i < 200 && wideband::predicted_code_gain(start.past_qua_en, energy) != 1.0f;
       ++i) {
    start.past_qua_en[1] = static_cast<float>(i - 100) * 1e-7f;
  }
  ASSERT_EQ(wideband::predicted_code_gain(start.past_qua_en, energy), 1.0f);
  int ties = 0;
  for (std::size_t i = 0; i + 1 < 32; ++i) {
    const double a = qua_gain_code[i], b = qua_gain_code[i + 1];
    auto gain = static_cast<float>(0.5 * (a + b));
    if (gain - a != b - gain) continue;
    ++ties;
    CodeGainQuantizer state = start;
    EXPECT_EQ(q_gain_code(state, code.data(), 80, &gain), static_cast<int>(i));
  }
  EXPECT_GT(ties, 5);
}

TEST(QGainCode, SilentCodeVectorIsDefined) {
  const std::vector<float> code(80);
  CodeGainQuantizer state;
  float gain = 0.0f;
  EXPECT_EQ(q_gain_code(state, code.data(), 80, &gain), 0);
  EXPECT_NEAR(20 * std::log10(gain / qua_gain_code[0]), -0.6 - 10 * std::log10(0.01 / 80), 1e-5);
}

TEST(QGainTest, GivesTheCorrectionThatTheQuantiserRounds) {
  const auto code = pulses();
  CodeGainQuantizer quantizer;
  GainTest test;
  Random random(3);
  for (int trial = 0; trial < 200; ++trial) {
    const auto given = static_cast<float>(std::exp(random.uniform(0, 5)));
    float en = 0.0f;
    test.past_qua_en = quantizer.past_qua_en;
    const double correction = q_gain_test(test, code.data(), 80, given, &en);
    const double energy = 10 * std::log10(10.01 / 80);
    EXPECT_NEAR(en, 20 * std::log10(given) + energy, 5e-6);  // float of a number up to 45
    float gain = given;
    q_gain_code(quantizer, code.data(), 80, &gain);
    // Quantised and unquantised corrections differ as the gains do.
    EXPECT_NEAR(quantizer.past_qua_en[0] - correction, 20 * std::log10(gain / given), 1e-5);
    EXPECT_EQ(test.past_qua_en[0], static_cast<float>(correction));
  }
}

TEST(QGainTest, StartsFromMinus14AndShifts) {
  const auto code = pulses();
  GainTest state;
  float en = 0.0f;
  const float gc0 =
      wideband::predicted_code_gain({-14.0f, -14.0f}, wideband::code_energy(code.data(), 80));
  EXPECT_NEAR(q_gain_test(state, code.data(), 80, gc0, &en), 0.0, 1e-12);
  EXPECT_EQ(state.past_qua_en[1], -14.0f);
}

}  // namespace
}  // namespace quel
