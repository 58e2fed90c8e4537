#include "dsp/residu.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::noise;
using test::speech_like;
using test::stable_filter;
using Floats = std::vector<float>;

// x holds m past samples in front.
Floats residual(const Floats& a, const Floats& x) {
  const auto m = static_cast<int>(a.size()) - 1;
  Floats y(x.size() - static_cast<std::size_t>(m));
  residu(a.data(), m, x.data() + m, y.data(), static_cast<int>(y.size()));
  return y;
}

// Terms from the far end: one float rounding, and 17 double roundings for the other order.
TEST(Residu, IsTheWeightedSumOfPastSamples) {
  for (const int m : {1, 2, 10, 16}) {
    for (unsigned seed = 0; seed < 20; ++seed) {
      const auto a = stable_filter(m, seed);
      const auto x = speech_like(m + 80, seed);
      const Floats y = residual(a, x);
      const auto M = static_cast<std::size_t>(m);
      for (std::size_t n = 0; n < y.size(); ++n) {
        double sum = 0, size = 0;
        for (std::size_t i = M + 1; i-- > 0;) {
          sum += static_cast<double>(a[i]) * x[M + n - i];
          size += std::abs(static_cast<double>(a[i]) * x[M + n - i]);
        }
        EXPECT_NEAR(y[n], sum, std::abs(sum) * 0x1p-24 + size * 17 * 0x1p-53);
      }
    }
  }
}

TEST(Residu, PulseGivesTheCoefficients) {
  const auto a = stable_filter(10, 1);
  Floats x(10 + 12);
  x[10] = 1.0f;
  Floats expected = a;
  expected.push_back(0.0f);
  EXPECT_EQ(residual(a, x), expected);
}

TEST(Residu, ReadsThePastSamples) {
  const auto a = stable_filter(10, 2);
  Floats x(10 + 12);
  x[0] = 1.0f;  // ten samples before the first output
  Floats expected(12);
  expected[0] = a[10];
  EXPECT_EQ(residual(a, x), expected);
}

TEST(Residu, FlatFilterCopies) {
  const Floats a{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const auto x = noise(10 + 48, 3);
  EXPECT_EQ(residual(a, x), Floats(x.begin() + 10, x.end()));
}

TEST(Residu, HalvesJoinWithoutASeam) {
  const auto a = stable_filter(16, 4);
  const auto x = noise(16 + 160, 5);
  const Floats whole = residual(a, x);
  Floats halves(160);
  residu(a.data(), 16, x.data() + 16, halves.data(), 80);
  residu(a.data(), 16, x.data() + 96, halves.data() + 80, 80);
  EXPECT_EQ(halves, whole);
}

TEST(Residu, ScalesExactlyWithAPowerOfTwo) {
  const auto a = stable_filter(10, 6);
  auto x = noise(10 + 48, 7);
  Floats expected = residual(a, x);
  for (float& v : expected) v *= 4.0f;
  for (float& v : x) v *= 4.0f;
  EXPECT_EQ(residual(a, x), expected);
}

TEST(Residu, WidebandNameComputesTheSame) {
  const auto a = stable_filter(16, 8);
  const auto x = noise(16 + 80, 9);
  Floats y(80);
  residu16(a.data(), 16, x.data() + 16, y.data(), 80);
  EXPECT_EQ(y, residual(a, x));
}

}  // namespace
}  // namespace quel
