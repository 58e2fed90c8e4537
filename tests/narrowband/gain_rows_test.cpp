#include "narrowband/gain_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "narrowband/d_gain2.h"
#include "narrowband/gain_tables.h"
#include "support/signals.h"

namespace quel::narrowband {
namespace {

constexpr float t_qua_gain[][2] = {
#include "narrowband/t_qua_gain.inc"
};

using Coefficients = std::array<float, 5>;

// Every row in double, sorted.
std::vector<GainRow> all_rows(float gcode0, const Coefficients& g, bool crowded) {
  std::vector<GainRow> rows;
  for (int row = 0; row < (crowded ? 102 : 128); ++row) {
    const double p = t_qua_gain[row][0], c = static_cast<double>(gcode0) * t_qua_gain[row][1];
    rows.push_back({row, g[0] * p * p + g[1] * p + g[2] * c * c + g[3] * c + g[4] * p * c});
  }
  std::stable_sort(rows.begin(), rows.end(),
                   [](const GainRow& a, const GainRow& b) { return a.error < b.error; });
  return rows;
}

TEST(BestGainRows, AreThoseOfTheWholeTableThatLeaveLeast) {
  test::Random random(21);
  for (int round = 0; round < 300; ++round) {
    Coefficients g{};
    for (float& v : g) v = static_cast<float>(random.uniform(-2.0, 2.0));
    if (round % 10 == 0) g = {};  // all equal: the lowest rows
    g[0] = std::abs(g[0]);
    g[2] = std::abs(g[2]);
    const auto gcode0 = static_cast<float>(random.uniform(0.1, 3.0));
    for (const bool crowded : {false, true}) {
      const auto wanted = all_rows(gcode0, g, crowded);
      GainRow got[102];
      for (const int count : {1, 2, 5, 102}) {
        best_gain_rows(gcode0, g.data(), crowded, count, got);
        for (int i = 0; i < count; ++i) {
          ASSERT_EQ(got[i].row, wanted[static_cast<std::size_t>(i)].row) << round << ' ' << i;
          ASSERT_EQ(got[i].error, wanted[static_cast<std::size_t>(i)].error);
        }
      }
    }
  }
}

TEST(BestGainRows, WithoutANumberTheFirstRowsAreGiven) {
  Coefficients g{};
  g.fill(std::numeric_limits<float>::quiet_NaN());
  GainRow rows[3];
  best_gain_rows(1.0f, g.data(), true, 3, rows);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(rows[i].row, i);
}

// Gains and memory as the decoder has them.
TEST(TakeGains, GivesWhatTheDecoderGets) {
  GainQuantizer encoder;
  GainDequantizer decoder;
  init_q_gain2(encoder);
  init_d_gain2(decoder);
  for (int row = 0; row < 128; ++row) {
    const auto code = test::noise(48, static_cast<unsigned>(row));
    float gains[2], decoded[2];
    const float gcode0 = predict_code_gain(encoder.past_qua_en, code.data(), 48);
    take_gains(encoder, row, gcode0, &gains[0], &gains[1]);
    d_gain2(decoder, row, code.data(), 48, &decoded[0], &decoded[1], 0, 0, 0.25f);
    EXPECT_EQ(gains[0], decoded[0]);
    EXPECT_EQ(gains[1], decoded[1]);
    EXPECT_EQ(encoder.past_qua_en, decoder.past_qua_en);
  }
}

}  // namespace
}  // namespace quel::narrowband
