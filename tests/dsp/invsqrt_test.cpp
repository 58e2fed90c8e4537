#include "dsp/invsqrt.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/signals.h"

namespace quel {
namespace {

using test::Random;

double random_positive(Random& random) {
  return std::ldexp(random.uniform(1.0, 2.0), random.integer(-300, 300));
}

// Newton's method with its start found by comparison: the power of two y with 1/2 <= x y^2 < 2
// that floor(e/2) picks, x = f 2^e, 1/2 <= f < 1.
double plain_newton(double x, int steps) {
  double y = 1.0;
  while (x * y * y < 0.5) y *= 2.0;
  while (x * y * y >= 2.0) y *= 0.5;
  for (int i = 0; i < steps; ++i) y = y * (1.5 - 0.5 * x * y * y);
  return y;
}

TEST(Invsqrt, PowersOfFourAreExact) {
  EXPECT_EQ(invsqrt(4.0), 0.5);
  EXPECT_EQ(invsqrt(0.25), 2.0);
  EXPECT_EQ(invsqrt(1.0), 1.0);
  for (int e = -500; e <= 500; ++e) EXPECT_EQ(invsqrt(std::ldexp(1.0, 2 * e)), std::ldexp(1.0, -e));
}

// With u = y sqrt(x) a step is u (3 - u^2) / 2. The worst start is u = sqrt(2), for x just below
// twice a power of four; five steps leave 4.76e-7 below 1 there. No start ends above 1.
TEST(Invsqrt, IsWithinFiveStepsOfTheRoot) {
  Random random(1);
  double worst = 0;
  for (int trial = 0; trial < 100000; ++trial) {
    const double x = random_positive(random);
    const double u = invsqrt(x) * std::sqrt(x);
    ASSERT_LE(u, 1.0 + 4 * std::numeric_limits<double>::epsilon()) << x;
    ASSERT_GE(u, 1.0 - 4.7587e-7) << x;
    worst = std::fmax(worst, 1.0 - u);
  }
  EXPECT_GT(worst, 4e-7);  // the bound is about the routine, not about a better one
}

TEST(Invsqrt, StopsAfterExactlyFiveSteps) {
  Random random(2);
  int differs_from_four = 0, differs_from_six = 0;
  for (int trial = 0; trial < 2000; ++trial) {
    const double x = random_positive(random);
    ASSERT_EQ(invsqrt(x), plain_newton(x, 5)) << x;
    differs_from_four += invsqrt(x) != plain_newton(x, 4) ? 1 : 0;
    differs_from_six += invsqrt(x) != plain_newton(x, 6) ? 1 : 0;
  }
  EXPECT_GT(differs_from_four, 1000);
  EXPECT_GT(differs_from_six, 1000);
}

TEST(Invsqrt, IsNotTheLibraryRoot) {
  EXPECT_NE(invsqrt(1.9999), 1.0 / std::sqrt(1.9999));
  EXPECT_NE(invsqrt(1.9999), static_cast<double>(1.0f / std::sqrt(1.9999f)));
}

TEST(Invsqrt, ScalesExactlyWithPowersOfFour) {
  Random random(3);
  for (int trial = 0; trial < 2000; ++trial) {
    const double x = random_positive(random);
    ASSERT_EQ(invsqrt(4.0 * x), 0.5 * invsqrt(x)) << x;
  }
}

TEST(Invsqrt, TinyAndHugeArguments) {
  const double tiny = std::numeric_limits<double>::min();  // 2^-1022
  EXPECT_EQ(invsqrt(tiny), std::ldexp(1.0, 511));
  EXPECT_EQ(invsqrt(std::ldexp(1.0, 1022)), std::ldexp(1.0, -511));
  const double huge = std::numeric_limits<double>::max();
  EXPECT_NEAR(invsqrt(huge) * std::sqrt(huge), 1.0, 4.8e-7);  // as everywhere
}

TEST(Invsqrt, ZeroAndVanishingArgumentsGiveAFiniteNumber) {
  EXPECT_EQ(invsqrt(0.0), 7.59375);  // 1.5^5: each step multiplies by 1.5
  EXPECT_TRUE(std::isfinite(invsqrt(std::numeric_limits<double>::denorm_min())));
}

TEST(InvSqrt, DividesByTheRootRoundedToFloat) {
  Random random(4);
  int differs = 0;
  for (int trial = 0; trial < 2000; ++trial) {
    const float x =
        static_cast<float>(std::ldexp(random.uniform(1.0, 2.0), random.integer(-99, 99)));
    const float root = static_cast<float>(std::sqrt(static_cast<double>(x)));
    ASSERT_EQ(inv_sqrt(x), 1.0 / static_cast<double>(root)) << x;
    differs += inv_sqrt(x) != 1.0 / std::sqrt(static_cast<double>(x)) ? 1 : 0;
  }
  EXPECT_GT(differs, 1000);
  EXPECT_EQ(inv_sqrt(4.0f), 0.5);
  EXPECT_EQ(inv_sqrt(2.0f), 1.0 / static_cast<double>(1.41421354f));
}

}  // namespace
}  // namespace quel
