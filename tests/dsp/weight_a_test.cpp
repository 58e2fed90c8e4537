#include "dsp/weight_a.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "dsp/plain_lpc.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::stable_filter;
using Floats = std::vector<float>;

Floats weighted(const Floats& a, float gamma) {
  Floats ap(a.size());
  weight_a(a.data(), ap.data(), gamma, static_cast<int>(a.size()) - 1);
  return ap;
}

// i - 1 multiplications make the power and one applies it, each within half a unit of 2^-23.
TEST(WeightA, MultipliesByPowersOfGamma) {
  for (const float gamma : {0.9f, 0.6f, 0.75f, 0.5f, 0.85f, 0.92f}) {
    for (const int m : {1, 10, 16}) {
      const auto a = stable_filter(m, 1);
      const Floats ap = weighted(a, gamma);
      EXPECT_EQ(ap[0], a[0]);
      for (std::size_t i = 1; i < a.size(); ++i) {
        const double exact = a[i] * std::pow(static_cast<double>(gamma), static_cast<double>(i));
        const double roundings = 1.01 * static_cast<double>(i);
        EXPECT_NEAR(ap[i], exact, std::abs(exact) * roundings * 0x1p-24) << gamma << ' ' << i;
      }
    }
  }
}

TEST(WeightA, PowersAreFormedByRepeatedSinglePrecisionMultiplication) {
  const Floats ones(17, 1.0f);
  const Floats ap = weighted(ones, 0.9f);
  volatile float power = 1.0f;  // kept from any wider register
  for (std::size_t i = 1; i < 17; ++i) {
    power = power * 0.9f;
    EXPECT_EQ(ap[i], power) << i;
  }
  EXPECT_NE(ap[16], static_cast<float>(std::pow(static_cast<double>(0.9f), 16.0)));
}

TEST(WeightA, GammaOneHalfIsExact) {
  const auto a = stable_filter(16, 2);
  const Floats ap = weighted(a, 0.5f);
  for (int i = 0; i <= 16; ++i) {
    const auto at = static_cast<std::size_t>(i);
    EXPECT_EQ(ap[at], std::ldexp(a[at], -i));
  }
}

TEST(WeightA, GammaOneCopiesAndGammaZeroFlattens) {
  const auto a = stable_filter(10, 3);
  EXPECT_EQ(weighted(a, 1.0f), a);
  Floats flat(11);
  flat[0] = 1.0f;
  EXPECT_EQ(weighted(a, 0.0f), flat);
}

TEST(WeightA, KeepsALeadingCoefficientOtherThanOne) {
  EXPECT_EQ(weighted({3.0f, 2.0f}, 0.5f), (Floats{3.0f, 1.0f}));
}

TEST(WeightA, MayWorkInPlace) {
  auto a = stable_filter(10, 4);
  const Floats apart = weighted(a, 0.9f);
  weight_a(a.data(), a.data(), 0.9f, 10);
  EXPECT_EQ(a, apart);
}

TEST(WeightA, WidensTheBandwidthSoAStableFilterStaysStable) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    const auto a = stable_filter(10, seed);
    ASSERT_TRUE(test::minimum_phase(a.data(), 10));
    EXPECT_TRUE(test::minimum_phase(weighted(a, 0.9f).data(), 10)) << seed;
  }
}

TEST(Pondai, ComputesTheSame) {
  const auto a = stable_filter(10, 5);
  Floats ap(11);
  pondai(a.data(), ap.data(), 0.6f, 10);
  EXPECT_EQ(ap, weighted(a, 0.6f));
}

}  // namespace
}  // namespace quel
