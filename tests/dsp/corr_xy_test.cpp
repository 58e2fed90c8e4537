#include "dsp/corr_xy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::dot;
using test::noise;
using ::testing::ElementsAre;
using Floats = std::vector<float>;

TEST(CorrXy1, SilentContributionGivesNoGain) {
  const auto xn = noise(48, 1);
  const Floats y1(48);
  Floats g(5, 9.0f);
  EXPECT_EQ(corr_xy1(xn.data(), y1.data(), g.data(), 48), 0.0);
  EXPECT_THAT(g, ElementsAre(0.01f, 0.01f, 9.0f, 9.0f, 9.0f));
}

// The bias is outside the factor of term 1, inside those of terms 3 and 4.
TEST(CorrXy2, BiasOfSilence) {
  const Floats zero(48);
  Floats g(5, 9.0f);
  corr_xy2(zero.data(), zero.data(), zero.data(), g.data(), 48);
  EXPECT_THAT(g, ElementsAre(9.0f, 9.0f, 0.01f, -0.02f, 0.02f));
}

TEST(CorrXy, TermsFollowTheirFormulas) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    for (const int L : {48, 80}) {
      SCOPED_TRACE(seed);
      // Unit signals, so that the bias is well above a float's last place.
      const auto xn = noise(L, seed, 1.0), y1 = noise(L, seed + 100, 1.0);
      const auto y2 = noise(L, seed + 200, 1.0);
      Floats g(5);
      const double gain = corr_xy1(xn.data(), y1.data(), g.data(), L);
      corr_xy2(xn.data(), y1.data(), y2.data(), g.data(), L);
      const double exact[5] = {0.01 + dot(y1, y1), -2 * dot(xn, y1) + 0.01, 0.01 + dot(y2, y2),
                               -2 * (0.01 + dot(xn, y2)), 2 * (0.01 + dot(y1, y2))};
      for (std::size_t i = 0; i < 5; ++i) {
        // One rounding to float, and 0.01 itself is a float, 2.3e-10 below the decimal.
        EXPECT_NEAR(g[i], exact[i], std::abs(exact[i]) * 0x1p-24 + 1e-9) << i;
      }
      // Relative 1e-9 / 48 from the bias, as above.
      EXPECT_NEAR(gain, dot(xn, y1) / exact[0], 1e-9);
    }
  }
}

TEST(CorrXy, TermsAreTheErrorEnergyOfTwoGains) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    const auto xn = noise(48, seed), y1 = noise(48, seed + 100), y2 = noise(48, seed + 200);
    Floats g(5);
    corr_xy1(xn.data(), y1.data(), g.data(), 48);
    corr_xy2(xn.data(), y1.data(), y2.data(), g.data(), 48);
    for (const auto& [gp, gc] : {std::array{0.0, 0.0}, {0.8, 1.7}, {1.2, 0.0}, {0.0, 3.0}}) {
      double energy = 0;
      for (std::size_t n = 0; n < 48; ++n) {
        const double e = xn[n] - gp * y1[n] - gc * y2[n];
        energy += e * e;
      }
      const double model =
          dot(xn, xn) + g[0] * gp * gp + g[1] * gp + g[2] * gc * gc + g[3] * gc + g[4] * gp * gc;
      // Terms of some 5e7 times up to 9, each rounded to float, and biases below 1.
      EXPECT_NEAR(model, energy, 5 * 9 * 5e7 * 0x1p-24 + 1.0) << seed;
    }
  }
}

TEST(CorrXy1, GainIsNotBounded) {
  const auto y1 = noise(48, 2);
  Floats xn = y1, g(2);
  for (float& v : xn) v *= -8.0f;
  const double energy = dot(y1, y1);
  // The doubles of routine and formula differ by their last places.
  EXPECT_DOUBLE_EQ(corr_xy1(xn.data(), y1.data(), g.data(), 48), -8 * energy / (0.01f + energy));
  for (float& v : xn) v = -v;
  EXPECT_DOUBLE_EQ(corr_xy1(xn.data(), y1.data(), g.data(), 48), 8 * energy / (0.01f + energy));
}

// The decimal 0.01 is a quarter of a float's last place above the float, and digests rest on the
// latter. Four tenths of a place more round back to the float, but away from it on the decimal.
TEST(CorrXy, BiasIsTheFloatNearestToOneHundredth) {
  constexpr float place = 0x1p-30f;
  const Floats small = {std::sqrt(0.4f * place)}, unit = {1.0f}, part = {0.4f * place};
  const Floats other = {-0.2f * place};
  Floats g(5);
  corr_xy1(other.data(), unit.data(), g.data(), 1);
  EXPECT_EQ(g[1], 0.01f);
  corr_xy1(unit.data(), small.data(), g.data(), 1);
  EXPECT_EQ(g[0], 0.01f);
  corr_xy2(part.data(), unit.data(), small.data(), g.data(), 1);
  EXPECT_EQ(g[2], 0.01f);
  corr_xy2(part.data(), part.data(), unit.data(), g.data(), 1);
  EXPECT_EQ(g[3], -0.02f);
  EXPECT_EQ(g[4], 0.02f);
}

}  // namespace
}  // namespace quel
