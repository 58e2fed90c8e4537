#include "narrowband/d_isp_5.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

#include "narrowband/q_isp_5.h"
#include "narrowband/reorder_isf.h"
#include "support/signals.h"

namespace quel {
namespace {

using Vector = std::array<float, 10>;
using Indices = std::array<std::int32_t, 5>;

// A rounding to float of a frequency up to 4500 Hz, and half of one of a residual.
constexpr float hz_rounding = 1e-3f;

// A cosine is computed in double and rounded once, by half a step of a float below 1; ten digits of
// pi / 4000 put its angle off by up to 5e-10.
constexpr double cosine_rounding = 0x1p-25 + 5e-10;

// The last ISP: the factor 1 / 650 and the product are rounded to float.
double last_isp_rounding(double isp) {
  return std::abs(isp) * 0x1p-23;
}

Indices random_indices(test::Random& random) {
  return {random.integer(0, 63), random.integer(0, 127), random.integer(0, 127),
          random.integer(0, 127), random.integer(0, 31)};
}

IsfDequantizer started() {
  IsfDequantizer state;
  init_d_isf_ma(state);
  return state;
}

// What a good frame leaves as memory is the rows themselves.
Vector rows_of(const Indices& indices) {
  auto state = started();
  Vector isp;
  d_isf_ma(state, indices.data(), isp.data(), 0);
  return state.past_r;
}

void expect_near(const Vector& x, const std::array<double, 10>& y, double tolerance) {
  for (std::size_t i = 0; i < 10; ++i) EXPECT_NEAR(x[i], y[i], tolerance) << i;
}

std::array<double, 10> repaired(const std::array<double, 10>& isf) {
  Vector x;
  std::copy(isf.begin(), isf.end(), x.begin());
  reorder_isf(x.data(), 50.0f, 10, 650.0f);
  std::array<double, 10> y;
  std::copy(x.begin(), x.end(), y.begin());
  return y;
}

TEST(DIsfMa, InitStartsFromTheMean) {
  IsfDequantizer state;
  EXPECT_EQ(state.past_isf, Vector{});
  EXPECT_EQ(state.past_r, Vector{});
  state.past_r.fill(7.0f);
  init_d_isf_ma(state);
  EXPECT_EQ(state.past_isf, mean_isf);
  EXPECT_EQ(state.past_r, Vector{});
}

TEST(DIsfMa, GoodFramesFollowTheEncoder) {
  test::Random random(1);
  IsfQuantizer encoder;
  auto decoder = started();
  for (int frame = 0; frame < 500; ++frame) {
    SCOPED_TRACE(frame);
    Vector isp;
    for (std::size_t i = 0; i < 9; ++i) isp[i] = static_cast<float>(random.uniform(-1.0, 1.0));
    std::sort(isp.begin(), isp.begin() + 9, std::greater<>());
    isp[9] = static_cast<float>(random.uniform(-0.6, 0.9));
    Vector encoded, decoded;
    Indices indices;
    std::int32_t flag = 0;
    q_isf_ma(encoder, isp.data(), encoded.data(), indices.data(), &flag);
    d_isf_ma(decoder, indices.data(), decoded.data(), 0);
    EXPECT_EQ(decoded, encoded);
    EXPECT_EQ(decoder.past_r, encoder.past_r);
  }
}

TEST(DIsfMa, GoodFrameAddsPredictionRowsAndMean) {
  test::Random random(2);
  auto state = started();
  for (int frame = 0; frame < 200; ++frame) {
    SCOPED_TRACE(frame);
    const Indices indices = random_indices(random);
    const Vector past = state.past_r, rows = rows_of(indices);
    Vector isp;
    d_isf_ma(state, indices.data(), isp.data(), 0);
    std::array<double, 10> isf;
    for (std::size_t i = 0; i < 10; ++i) isf[i] = 0.33 * past[i] + rows[i] + mean_isf[i];
    expect_near(state.past_isf, repaired(isf), hz_rounding);
    EXPECT_EQ(state.past_r, rows);
    for (std::size_t i = 0; i < 9; ++i) {
      EXPECT_NEAR(isp[i], std::cos(state.past_isf[i] * std::numbers::pi / 4000.0), cosine_rounding);
    }
    const double last = state.past_isf[9] / 650.0;
    EXPECT_NEAR(isp[9], last, last_isp_rounding(last));
  }
}

TEST(DIsfMa, HelpedLossFollowsItsFormulaAndKeepsTheUnrepairedResidual) {
  test::Random random(3);
  auto state = started();
  bool repair = false;
  for (int frame = 0; frame < 200; ++frame) {
    SCOPED_TRACE(frame);
    Vector isp;
    d_isf_ma(state, random_indices(random).data(), isp.data(), 0);
    const auto before = state;
    const Indices indices = random_indices(random);
    const Vector rows = rows_of(indices);
    d_isf_ma(state, indices.data(), isp.data(), 1);
    std::array<double, 10> isf, r;
    for (std::size_t i = 0; i < 10; ++i) {
      const double mean = mean_isf[i];
      isf[i] = mean + (before.past_isf[i] - mean + rows[i] - 0.1089 * before.past_r[i]) * 0.5988024;
      r[i] = isf[i] - 0.33 * before.past_r[i] - mean;
    }
    repair = repair || repaired(isf) != isf;
    expect_near(state.past_isf, repaired(isf), hz_rounding);
    expect_near(state.past_r, r, hz_rounding);
  }
  EXPECT_TRUE(repair);
}

// Indices of a vector near the mean, so that little needs repair.
Indices calm_indices(test::Random& random) {
  Vector isp;
  for (std::size_t i = 0; i < 9; ++i) {
    const double isf = mean_isf[i] + random.uniform(-60.0, 60.0);
    isp[i] = static_cast<float>(std::cos(isf * std::numbers::pi / 4000.0));
  }
  isp[9] = static_cast<float>(random.uniform(-0.2, 0.4));
  IsfQuantizer encoder;
  Indices indices;
  std::int32_t flag = 0;
  q_isf_ma(encoder, isp.data(), isp.data(), indices.data(), &flag);
  return indices;
}

TEST(DIsfMa, HelpedLossLiesHalfwayToTheFrameAfterIt) {
  test::Random random(4);
  int compared = 0;
  for (int run = 0; run < 200; ++run) {
    SCOPED_TRACE(run);
    auto state = started();
    Vector isp;
    // Frequencies before the repair, from the memories around a frame.
    const auto unrepaired = [](const Vector& past_r, const Vector& r) {
      std::array<double, 10> isf;
      for (std::size_t i = 0; i < 10; ++i) isf[i] = 0.33 * past_r[i] + r[i] + mean_isf[i];
      return isf;
    };
    const auto calm = [](const std::array<double, 10>& isf) {
      for (std::size_t i = 1; i < 9; ++i) {
        if (isf[i] < isf[i - 1] + 51.0) return false;
      }
      return isf[0] > 51.0;
    };
    d_isf_ma(state, calm_indices(random).data(), isp.data(), 0);
    const auto before = state;
    const Indices next = calm_indices(random);
    d_isf_ma(state, next.data(), isp.data(), 1);
    const auto lost = state;
    d_isf_ma(state, next.data(), isp.data(), 0);
    if (!calm(unrepaired(Vector{}, before.past_r)) ||
        !calm(unrepaired(before.past_r, lost.past_r)) ||
        !calm(unrepaired(lost.past_r, state.past_r))) {
      continue;
    }
    ++compared;
    // The factors are good to seven digits, the residuals at most 1000 Hz.
    for (std::size_t i = 0; i < 10; ++i) {
      EXPECT_NEAR(lost.past_isf[i], 0.5 * (before.past_isf[i] + state.past_isf[i]), 2e-3);
    }
  }
  EXPECT_GT(compared, 20);
}

TEST(DIsfMa, LossWithoutHelpFadesToTheMean) {
  test::Random random(5);
  auto state = started();
  Vector isp;
  d_isf_ma(state, random_indices(random).data(), isp.data(), 0);
  for (int frame = 0; frame < 150; ++frame) {
    const Vector before = state.past_isf;
    d_isf_ma(state, nullptr, isp.data(), 2);
    std::array<double, 10> isf;
    for (std::size_t i = 0; i < 10; ++i) isf[i] = 0.9 * before[i] + 0.1 * mean_isf[i];
    expect_near(state.past_isf, isf, hz_rounding);
    EXPECT_EQ(state.past_r, Vector{});
  }
  // 0.9^150 of 1000 Hz is nothing; 0.9 and 0.1 in single precision add to 1 - 2e-8, and the
  // recursion comes to rest within five roundings of the mean.
  for (std::size_t i = 0; i < 10; ++i) EXPECT_NEAR(state.past_isf[i], mean_isf[i], 5e-3);
}

TEST(DIsfMa, LossWithoutHelpIsNotReordered) {
  auto state = started();
  state.past_isf = {900, 300, 310, 1400, 1300, 2200, 2600, 3000, 3300, 900};
  Vector isp;
  d_isf_ma(state, nullptr, isp.data(), 2);
  EXPECT_GT(state.past_isf[0], state.past_isf[1]);
  EXPECT_GT(state.past_isf[9], 520.0f);
  const double last = state.past_isf[9] / 650.0;
  EXPECT_NEAR(isp[9], last, last_isp_rounding(last));
}

TEST(DIsfMa, FirstGoodFrameAfterALossIsDecodedWithoutPrediction) {
  test::Random random(6);
  const Indices first = random_indices(random), second = random_indices(random);
  auto state = started(), fresh = started();
  Vector isp, wanted;
  d_isf_ma(state, first.data(), isp.data(), 0);
  d_isf_ma(state, nullptr, isp.data(), 2);
  d_isf_ma(state, second.data(), isp.data(), 0);
  d_isf_ma(fresh, second.data(), wanted.data(), 0);
  EXPECT_EQ(isp, wanted);
}

TEST(DIsfMa, OnlyTheFieldsOfTheIndicesCount) {
  test::Random random(7);
  for (const int mode : {0, 1}) {
    auto state = started(), other = started();
    for (int frame = 0; frame < 50; ++frame) {
      const Indices indices = random_indices(random);
      const Indices wide = {indices[0] - 64, indices[1] + 128, indices[2] + (1 << 30),
                            indices[3] - (1 << 30), indices[4] - 32};
      Vector isp, isp_wide;
      d_isf_ma(state, indices.data(), isp.data(), mode);
      d_isf_ma(other, wide.data(), isp_wide.data(), mode);
      EXPECT_EQ(isp, isp_wide);
    }
  }
}

}  // namespace
}  // namespace quel
