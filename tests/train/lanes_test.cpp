#include "train/lanes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace quel::train {
namespace {

TEST(Lanes, ElementaryFunctionsKeepTheirDigits) {
  for (int i = 0; i <= 20000; ++i) {
    const double part = i / 20000.0;
    const auto x = static_cast<float>(-80.0 * part);
    // Single precision of x log2(e) at 115 leaves 4e-6 of its fraction.
    EXPECT_NEAR(fast_exp(x) / std::exp(static_cast<double>(x)), 1.0, 8e-6) << x;
    const auto y = static_cast<float>(std::pow(10.0, 24.0 * part - 12.0));
    EXPECT_NEAR(fast_log(y), std::log(static_cast<double>(y)), 4e-6) << y;
    const auto z = static_cast<float>(part);
    EXPECT_NEAR(fast_cos_pi(z), std::cos(std::numbers::pi * z), 2e-7) << z;
  }
  EXPECT_EQ(fast_exp(0.0f), 1.0f);
  EXPECT_LT(fast_exp(-1e9f), 1e-37f);
  EXPECT_EQ(fast_log(1.0f), 0.0f);
}

TEST(Lanes, SumsEveryTermOnce) {
  std::vector<float> x(160);
  float sum = 0.0f;
  for (std::size_t i = 0; i < x.size(); ++i) sum += x[i] = static_cast<float>(i * i);  // exact
  EXPECT_EQ(sum_in_lanes(x.size(), [&](std::size_t i) { return x[i]; }), sum);
}

}  // namespace
}  // namespace quel::train
