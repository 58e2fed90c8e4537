#include "narrowband/find_F.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::noise;
using test::stable_filter;

Mode flavor(std::int32_t initFlavor) {
  Mode mode;
  mode.initFlavor = initFlavor;
  return mode;
}

std::vector<float> shape(int initFlavor, const std::vector<float>& A, int T0) {
  std::vector<float> F(48);
  find_F(flavor(initFlavor), A.data(), T0, F.data());
  return F;
}

// A(z/0.55)/A(z/0.7) by long division, then the sharpening as a sum over its repetitions.
std::vector<double> plain_shape(const std::vector<float>& A, int T0, double beta) {
  std::vector<double> f(48), sharpened(48);
  for (std::size_t n = 0; n < 48; ++n) {
    f[n] = n <= 10 ? A[n] * std::pow(0.55, static_cast<double>(n)) : 0.0;
    for (std::size_t i = 1; i <= 10 && i <= n; ++i) {
      f[n] -= A[i] * std::pow(0.7, static_cast<double>(i)) * f[n - i];
    }
  }
  for (std::size_t n = 0; n < 48; ++n) {
    double gain = 1;
    for (std::size_t back = 0; back <= n; back += static_cast<std::size_t>(T0), gain *= beta) {
      sharpened[n] += gain * f[n - back];
    }
  }
  return sharpened;
}

const std::vector<float> flat = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

TEST(FindF, IsTheSharpenedResponseOfTheWeightedFilter) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    const auto A = stable_filter(10, seed);
    const int T0 = 19 + static_cast<int>(seed);
    for (const int f : {0, 2}) {
      const auto F = shape(f, A, T0);
      const auto expected = plain_shape(A, T0, f == 0 ? 0.8 : 0.85);
      // The response stays of the order of 1; the factors are rounded to float, ten at a time.
      for (std::size_t n = 0; n < 48; ++n) ASSERT_NEAR(F[n], expected[n], 2e-5);
    }
  }
}

TEST(FindF, SharpeningRepeatsWithFallingGain) {
  for (const int f : {0, 1, 2}) {
    const double beta = f == 2 ? 0.85f : 0.8f;
    const auto F = shape(f, flat, 20);
    for (std::size_t n = 0; n < 48; ++n) {
      const double expected = n == 0 ? 1 : n == 20 ? beta : n == 40 ? beta * beta : 0;
      EXPECT_FLOAT_EQ(F[n], static_cast<float>(expected));
    }
  }
}

TEST(FindF, OnlyFlavors0And1SharpenBy08) {
  EXPECT_EQ(shape(0, flat, 30)[30], 0.8f);
  EXPECT_EQ(shape(1, flat, 30)[30], 0.8f);
  EXPECT_EQ(shape(2, flat, 30)[30], 0.85f);
  EXPECT_EQ(shape(3, flat, 30)[30], 0.85f);
  EXPECT_EQ(shape(-1, flat, 30)[30], 0.85f);
}

TEST(FindF, LagsOf48AndMoreSharpenNothing) {
  const auto A = stable_filter(10, 1);
  const auto unsharpened = shape(0, A, 144);
  EXPECT_EQ(shape(0, A, 48), unsharpened);
  const auto at_47 = shape(0, A, 47);
  EXPECT_EQ(at_47[47], static_cast<float>(unsharpened[47] + static_cast<double>(0.8f)));
  for (std::size_t n = 0; n < 47; ++n) EXPECT_EQ(at_47[n], unsharpened[n]);
}

TEST(FindF, StartsWithOneAtEveryLag) {
  for (int T0 = 1; T0 < 160; ++T0) EXPECT_EQ(shape(2, stable_filter(10, 3), T0)[0], 1.0f);
}

TEST(FindF, LagsBelow1SharpenNothing) {
  const auto A = stable_filter(10, 2);
  for (const int T0 : {0, -1, -1000000}) EXPECT_EQ(shape(0, A, T0), shape(0, A, 48));
}

TEST(FindExc, AddsTheScaledVectorsRoundingOnce) {
  auto exc = noise(48, 4);
  const auto code = noise(48, 5);
  const auto before = exc;
  find_exc(exc.data(), code.data(), 0.7f, 12.5f, 48);
  for (std::size_t n = 0; n < 48; ++n) {
    const double expected =
        static_cast<double>(0.7f) * before[n] + static_cast<double>(12.5f) * code[n];
    EXPECT_EQ(exc[n], static_cast<float>(expected));
  }
}

TEST(FindExc, TouchesOnlyItsLength) {
  auto exc = noise(20, 6);
  const auto before = exc;
  const auto code = noise(20, 7);
  find_exc(exc.data(), code.data(), 0.5f, 1.0f, 10);
  EXPECT_NE(exc[9], before[9]);
  for (std::size_t n = 10; n < 20; ++n) EXPECT_EQ(exc[n], before[n]);
}

}  // namespace
}  // namespace quel
