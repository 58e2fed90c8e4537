#include "wideband/d_lsp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "support/signals.h"
#include "wideband/lsf_tables.h"

namespace quel {
namespace {

using std::numbers::pi;
using Lsf = std::array<float, 16>;
using Indices = std::array<std::int32_t, 6>;

std::vector<float> decode(LsfDequantizer& state, const Indices& prm, int bfi = 0) {
  std::vector<float> lsp(16);
  d_lsp(state, prm.data(), lsp.data(), bfi);
  return lsp;
}

Indices random_indices(test::Random& random) {
  return {random.integer(0, 1),   random.integer(0, 127), random.integer(0, 255),
          random.integer(0, 127), random.integer(0, 127), random.integer(0, 127)};
}

TEST(LsfTables, RowsThatFixTheirOrder) {
  const auto row = [](const auto& r) { return std::vector<float>(std::begin(r), std::end(r)); };
  EXPECT_EQ(row(dico1_lsf[0]), (std::vector<float>{-229.158f, -439.228f, -517.932f}));
  EXPECT_EQ(row(dico1_lsf[1]), (std::vector<float>{-241.178f, -455.023f, -342.457f}));
  EXPECT_EQ(row(dico2_lsf[0]), (std::vector<float>{-542.427f, -747.099f, -841.858f}));
  EXPECT_EQ(row(dico3_lsf[0]), (std::vector<float>{-568.914f, -601.734f, -478.909f}));
  EXPECT_EQ(row(dico4_lsf[0]), (std::vector<float>{-492.41f, -775.767f, -646.237f}));
  EXPECT_EQ(row(dico5_lsf[0]), (std::vector<float>{-512.547f, -709.651f, -441.208f, -505.679f}));
  EXPECT_EQ(row(dico5_lsf[127]), (std::vector<float>{316.796f, 25.319f, -378.093f, -522.497f}));
}

TEST(DLsp, LoadValuesAreTheNeutralLines) {
  const LsfDequantizer state;
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(state.past_lsf_q[static_cast<std::size_t>(i)],
              static_cast<float>((i + 1) * 8000.0 / 17));
  }
  EXPECT_EQ(state.past_q_target, Lsf{});
  EXPECT_EQ(state.k, 0);
}

TEST(DLsp, LostFirstFrameGivesTheNeutralLinesAndTheirResidual) {
  LsfDequantizer state;
  std::vector<float> lsp(16);
  d_lsp(state, nullptr, lsp.data(), 1);
  for (int i = 0; i < 16; ++i) {
    const auto n = static_cast<std::size_t>(i);
    const auto neutral = static_cast<float>((i + 1) * 8000.0 / 17);
    EXPECT_EQ(state.past_lsf_q[n], neutral);
    EXPECT_EQ(state.past_q_target[n],
              static_cast<float>((static_cast<double>(neutral) - mean_lsf[n]) / 0.88));
    EXPECT_NEAR(lsp[n], std::cos((i + 1) * pi / 17), 2e-7);  // constants of seven digits
  }
  EXPECT_EQ(state.k, 0);
}

TEST(DLsp, AddsPredictionAndMean) {
  test::Random random(1);
  LsfDequantizer state;
  for (int frame = 0; frame < 200; ++frame) {
    const Indices prm = random_indices(random);
    const Lsf past = state.past_q_target;
    const auto lsp = decode(state, prm);
    const double rho = prm[0] == 0 ? 0.12 : 0.5;
    std::vector<float> rows;
    rows.insert(rows.end(), dico1_lsf[prm[1]], dico1_lsf[prm[1]] + 3);
    rows.insert(rows.end(), dico2_lsf[prm[2]], dico2_lsf[prm[2]] + 3);
    rows.insert(rows.end(), dico3_lsf[prm[3]], dico3_lsf[prm[3]] + 3);
    rows.insert(rows.end(), dico4_lsf[prm[4]], dico4_lsf[prm[4]] + 3);
    rows.insert(rows.end(), dico5_lsf[prm[5]], dico5_lsf[prm[5]] + 4);
    double floor = 50;
    for (std::size_t i = 0; i < 16; ++i) {
      EXPECT_EQ(state.past_q_target[i], rows[i]);
      double f = (1 - rho) * rows[i] + rho * past[i] + mean_lsf[i];
      f = std::max(f, floor);
      floor = f + 50;
      EXPECT_NEAR(state.past_lsf_q[i], f, 0.005);          // a chain of up to 16 roundings at 8000
      EXPECT_NEAR(lsp[i], std::cos(f * pi / 8000), 3e-6);  // 0.005 Hz, constant of seven digits
    }
    EXPECT_EQ(state.k, prm[0]);
  }
}

TEST(DLsp, SelectorChangesOnGoodFramesOnly) {
  LsfDequantizer state;
  decode(state, {1, 3, 4, 5, 6, 7});
  EXPECT_EQ(state.k, 1);
  decode(state, {0, 3, 4, 5, 6, 7}, 1);
  EXPECT_EQ(state.k, 1);
  decode(state, {0, 3, 4, 5, 6, 7});
  EXPECT_EQ(state.k, 0);
}

TEST(DLsp, LostFramesRepeatTheLinesAndKeepThePredictorInStep) {
  test::Random random(2);
  LsfDequantizer state;
  for (int trial = 0; trial < 100; ++trial) {
    const auto good = decode(state, random_indices(random));
    const Lsf lines = state.past_lsf_q;
    const double rho = qu[state.k];
    for (int loss = 1; loss <= 6; ++loss) {
      const Lsf past = state.past_q_target;
      EXPECT_EQ(decode(state, random_indices(random), loss), good);
      EXPECT_EQ(state.past_lsf_q, lines);
      for (std::size_t i = 0; i < 16; ++i) {
        const double again = (1 - rho) * state.past_q_target[i] + rho * past[i] + mean_lsf[i];
        EXPECT_NEAR(again, lines[i], 2e-4);  // the residual, up to 2000 Hz, is a float
      }
    }
  }
}

TEST(DLsp, BitsBeyondTheFieldsAreIgnored) {
  test::Random random(3);
  LsfDequantizer state, masked;
  for (int trial = 0; trial < 200; ++trial) {
    Indices words{};
    for (auto& w : words) w = static_cast<std::int32_t>(random.bits());
    const Indices fields = {words[0] & 1,   words[1] & 127, words[2] & 255,
                            words[3] & 127, words[4] & 127, words[5] & 127};
    EXPECT_EQ(decode(state, words), decode(masked, fields));
    EXPECT_EQ(state.past_q_target, masked.past_q_target);
  }
}

// Smallest and largest entry of each of the sixteen residual places over all rows.
struct Extent {
  std::array<double, 16> low, high;
};

template <std::size_t rows, std::size_t dim>
void extend(Extent& e, const float (&dico)[rows][dim], std::size_t first) {
  for (std::size_t t = 0; t < dim; ++t) {
    for (const auto& row : dico) {
      e.low[first + t] = std::min<double>(e.low[first + t], row[t]);
      e.high[first + t] = std::max<double>(e.high[first + t], row[t]);
    }
  }
}

// The residual memory holds 0 at load, so 0 counts as a value of the past.
Extent table_extent() {
  Extent e{};
  extend(e, dico1_lsf, 0);
  extend(e, dico2_lsf, 3);
  extend(e, dico3_lsf, 6);
  extend(e, dico4_lsf, 9);
  extend(e, dico5_lsf, 12);
  return e;
}

// Largest frequency of each place while every frame so far was received: with both residuals in
// the tables' range so is their weighted mean, whatever the weight; then the spacing, which may
// chain upwards.
std::array<double, 16> ceiling_of_received() {
  const Extent e = table_extent();
  std::array<double, 16> top{};
  double floor = 50;
  for (std::size_t i = 0; i < 16; ++i) {
    top[i] = std::max(mean_lsf[i] + e.high[i], floor);
    floor = top[i] + 50;
  }
  return top;
}

// The same with losses. With c the row of the last received frame, p the memory before it and lsf
// what was played, the first loss leaves (lsf - mean - rho c)/(1 - rho): where the spacing did not
// act that is p (rho = 0.5) or between p and c, where it did lsf is the line below + 50. Further
// losses leave values between that one and c. A loss at load leaves the neutral lines' residual.
std::array<double, 16> ceiling_after_losses() {
  const Extent e = table_extent();
  std::array<double, 16> top{};
  double floor = 50;
  for (std::size_t i = 0; i < 16; ++i) {
    const double neutral = static_cast<double>(i + 1) * 8000 / 17;
    const double at_load = (neutral - mean_lsf[i]) / 0.88;
    const double low = std::min(e.low[i], at_load);
    double past = std::max(e.high[i], at_load);
    for (const double rho : qu) {
      past = std::max(past, (floor - mean_lsf[i] - rho * low) / (1 - rho));
    }
    top[i] = std::max({mean_lsf[i] + 0.5 * e.high[i] + 0.5 * past,
                       mean_lsf[i] + 0.88 * e.high[i] + 0.12 * past, floor, neutral});
    floor = top[i] + 50;
  }
  return top;
}

TEST(LsfTables, LinesOfReceivedFramesStayBelowHalfTheSamplingRate) {
  // Nothing else keeps them there, and a line beyond makes the synthesis filter unstable.
  const auto top = ceiling_of_received();
  for (std::size_t i = 0; i < 16; ++i) EXPECT_LT(top[i], 8000.0) << i;
}

TEST(LsfTables, LinesAfterLossesStayBelowTheStatedCeiling) {
  // Frames that no encoder writes, mixed with losses, may carry a line past half the sampling
  // rate. Their cosines are defined, the filter is no longer stable, and the decoder's check for
  // absurd samples is what holds it.
  const auto top = ceiling_after_losses();
  for (std::size_t i = 0; i < 16; ++i) EXPECT_LT(top[i], 20000.0) << i;
  RecordProperty("highest_line_after_losses_hz", static_cast<int>(std::ceil(top[15])));
}

TEST(DLsp, RandomFramesStayBelowTheCeilings) {
  const auto received = ceiling_of_received(), any = ceiling_after_losses();
  for (const double loss_rate : {0.0, 0.1, 0.5}) {
    test::Random random(7);
    LsfDequantizer state;
    for (int frame = 0; frame < 5000; ++frame) {
      const auto lsp = decode(state, random_indices(random), random.uniform(0, 1) < loss_rate);
      double floor = 50;
      for (std::size_t i = 0; i < 16; ++i) {
        const double f = state.past_lsf_q[i];
        ASSERT_GE(f, floor - 0.001);
        ASSERT_LE(f, (loss_rate > 0 ? any : received)[i] + 0.01);
        ASSERT_TRUE(lsp[i] >= -1.0f && lsp[i] <= 1.0f);
        floor = f + 50;
      }
    }
  }
}

}  // namespace
}  // namespace quel
