#include "narrowband/q_gain2.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <vector>

#include "dsp/corr_xy.h"
#include "support/signals.h"

namespace quel {
namespace {

constexpr float t_qua_gain[][2] = {
#include "narrowband/t_qua_gain.inc"
};

using Coefficients = std::array<float, 5>;

const std::vector<float> flat_code(48, 1.0f);

GainQuantizer started() {
  GainQuantizer state;
  init_q_gain2(state);
  return state;
}

std::int32_t index_of(float gain_pit, const Coefficients& g, int flag) {
  auto state = started();
  float gain_code = 0.0f;
  return q_gain2(state, flat_code.data(), 48, &gain_pit, &gain_code, g.data(), flag);
}

// With these the error energy rises, falls or stays with the pitch gain: the choice shows the first
// row of the search range, its last row, and how ties are broken.
constexpr Coefficients rising = {0, 1, 0, 0, 0}, falling = {0, -1, 0, 0, 0}, level = {};

int plain_start(float gain_pit, int nb) {
  int start = 0;
  for (int j = 32; j < nb - 32; ++j) start += t_qua_gain[j][0] < gain_pit;
  return start;
}

TEST(QGain2, InitStartsFromMinus14) {
  GainQuantizer state;
  EXPECT_EQ(state.past_qua_en, (std::array<float, 4>{}));
  init_q_gain2(state);
  EXPECT_EQ(state.past_qua_en, (std::array<float, 4>{-14, -14, -14, -14}));
}

TEST(QGain2, LowTargetsSearchTheFirst64RowsHighOnesTheLast) {
  for (const float low : {-1.0f, 0.0f, t_qua_gain[32][0]}) {
    EXPECT_EQ(index_of(low, rising, 0), 0);
    EXPECT_EQ(index_of(low, falling, 0), 63);
  }
  for (const float high : {1.2f, 5.0f, std::nextafter(t_qua_gain[95][0], 2.0f)}) {
    EXPECT_EQ(index_of(high, rising, 0), 64);
    EXPECT_EQ(index_of(high, falling, 0), 127);
  }
}

TEST(QGain2, RangeFollowsTheTargetRowByRow) {
  for (const int flag : {0, 1}) {
    const int nb = flag == 1 ? 102 : 128;
    for (const auto& row : t_qua_gain) {
      for (const float target : {row[0], std::nextafter(row[0], 2.0f)}) {
        const int start = plain_start(target, nb);
        EXPECT_EQ(index_of(target, rising, flag), start);
        EXPECT_EQ(index_of(target, falling, flag), start + 63);
      }
    }
  }
}

TEST(QGain2, ATargetEqualToARowDoesNotCountIt) {
  EXPECT_EQ(index_of(t_qua_gain[50][0], rising, 0), 50 - 32);
  EXPECT_EQ(index_of(std::nextafter(t_qua_gain[50][0], 2.0f), rising, 0), 50 - 32 + 1);
}

TEST(QGain2, CrowdedFrequenciesKeepToTheFirst102Rows) {
  EXPECT_LE(index_of(1.2f, {1, -2.4f, 0, 0, 0}, 1), 101);
  EXPECT_EQ(index_of(1.2f, falling, 1), 101);
  EXPECT_EQ(index_of(1.2f, rising, 1), 102 - 64);
  EXPECT_EQ(index_of(1.2f, falling, 0), 127);
  test::Random random(2);
  for (int run = 0; run < 200; ++run) {
    Coefficients g;
    for (float& c : g) c = static_cast<float>(random.uniform(-100.0, 100.0));
    EXPECT_LE(index_of(1.2f, g, 1), 101);
  }
}

TEST(QGain2, EqualErrorsSendTheLowerIndex) {
  EXPECT_EQ(index_of(0.0f, level, 0), 0);
  EXPECT_EQ(index_of(1.2f, level, 0), 64);
  EXPECT_EQ(index_of(0.8f, level, 0), plain_start(0.8f, 128));
}

TEST(QGain2, NoErrorBelowTheStartValueSendsTheFirstRow) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(index_of(1.2f, {nan, 0, 0, 0, 0}, 0), 64);
  EXPECT_EQ(index_of(nan, level, 0), 0);
}

TEST(QGain2, FindsTheLeastErrorEnergyOfItsRange) {
  test::Random random(3);
  auto state = started();
  for (int run = 0; run < 500; ++run) {
    SCOPED_TRACE(run);
    const auto seed = static_cast<unsigned>(3 * run);
    const auto y1 = test::noise(48, seed), y2 = test::noise(48, seed + 1, 1.0);
    const auto code = test::noise(48, seed + 2, 0.4);
    const double wanted_p = random.uniform(0.0, 1.3), wanted_c = random.uniform(0.0, 200.0);
    std::vector<float> xn(48);
    for (std::size_t i = 0; i < 48; ++i) {
      xn[i] = static_cast<float>(wanted_p * y1[i] + wanted_c * y2[i]);
    }
    Coefficients g;
    const double target = corr_xy1(xn.data(), y1.data(), g.data(), 48);
    corr_xy2(xn.data(), y1.data(), y2.data(), g.data(), 48);

    double pred_en = 34.0 - 10.0 * std::log10((0.01 + test::dot(code, code)) / 48.0);
    const double pred[] = {0.691, 0.504, 0.334, 0.2};
    for (std::size_t i = 0; i < 4; ++i) pred_en += pred[i] * state.past_qua_en[i];
    const double gcode0 = std::pow(10.0, pred_en / 20.0);
    const auto error = [&](int row) {
      const double p = t_qua_gain[row][0], c = gcode0 * t_qua_gain[row][1];
      return g[0] * p * p + g[1] * p + g[2] * c * c + g[3] * c + g[4] * p * c;
    };

    float gain_pit = static_cast<float>(target), gain_code = 0.0f;
    const int flag = run % 2;
    const int start = plain_start(gain_pit, flag == 1 ? 102 : 128);
    const auto past = state.past_qua_en;
    const int index = q_gain2(state, code.data(), 48, &gain_pit, &gain_code, g.data(), flag);

    ASSERT_GE(index, start);
    ASSERT_LE(index, start + 63);
    double least = error(start);
    for (int row = start; row < start + 64; ++row) least = std::min(least, error(row));
    // gcode0 is good to a rounding of its dB value, 5e-7 of it; the error energy, in which terms of
    // up to the target's energy cancel, to about 1e-6 of that.
    EXPECT_LE(error(index), least + 2e-6 * test::dot(xn, xn));
    EXPECT_EQ(gain_pit, t_qua_gain[index][0]);
    EXPECT_NEAR(gain_code, gcode0 * t_qua_gain[index][1], 1e-6 * gain_code);
    const float energy = static_cast<float>(20.0 * std::log10(double{t_qua_gain[index][1]}));
    EXPECT_EQ(state.past_qua_en, (std::array<float, 4>{energy, past[0], past[1], past[2]}));
  }
}

}  // namespace
}  // namespace quel
