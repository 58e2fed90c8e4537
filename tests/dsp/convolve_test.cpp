#include "dsp/convolve.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::dot;
using test::noise;
using Floats = std::vector<float>;

constexpr int lengths[] = {1, 2, 5, 40, 48, 80};

Floats convolved(const Floats& x, const Floats& h) {
  Floats y(x.size());
  convolve(x.data(), h.data(), y.data(), static_cast<int>(x.size()));
  return y;
}

Floats filtered_back(const Floats& x, const Floats& h) {
  Floats y(x.size());
  backfil2(x.data(), y.data(), h.data(), static_cast<int>(x.size()));
  return y;
}

double absolute_dot(const Floats& x, const Floats& y) {
  double sum = 0;
  for (std::size_t i = 0; i < x.size(); ++i) sum += std::abs(static_cast<double>(x[i]) * y[i]);
  return sum;
}

// The matrix of h, entry by entry, with the terms summed from the far end. Besides the one rounding
// to float, the order moves a double sum by 80 rounding errors of its largest partial sum.
void expect_matrix_product(const Floats& y, const Floats& x, const Floats& h, bool transposed) {
  const std::size_t L = x.size();
  for (std::size_t row = 0; row < L; ++row) {
    double sum = 0, size = 0;
    for (std::size_t column = L; column-- > 0;) {
      const std::size_t down = transposed ? column - row : row - column;
      if (transposed ? column < row : row < column) continue;
      const double term = static_cast<double>(x[column]) * h[down];
      sum += term;
      size += std::abs(term);
    }
    EXPECT_NEAR(y[row], sum, std::abs(sum) * 0x1p-24 + size * 80 * 0x1p-53) << row;
  }
}

TEST(Convolve, IsTheLowerTriangularMatrixOfTheImpulseResponse) {
  for (const int L : lengths) {
    SCOPED_TRACE(L);
    const auto x = noise(L, 1), h = noise(L, 2, 0.3);
    expect_matrix_product(convolved(x, h), x, h, false);
  }
}

TEST(Backfil2, IsTheTransposedMatrix) {
  for (const int L : lengths) {
    SCOPED_TRACE(L);
    const auto x = noise(L, 3), h = noise(L, 4, 0.3);
    expect_matrix_product(filtered_back(x, h), x, h, true);
  }
}

// <Hx, y> = <x, H'y>; each side carries one float rounding per entry.
TEST(Backfil2, IsTheAdjointOfConvolve) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    for (const int L : {48, 80}) {
      const auto x = noise(L, seed), y = noise(L, seed + 1000), h = noise(L, seed + 2000, 0.3);
      const auto hx = convolved(x, h), hy = filtered_back(y, h);
      const double tolerance = 1.01 * 0x1p-24 * (absolute_dot(hx, y) + absolute_dot(x, hy));
      EXPECT_NEAR(dot(hx, y), dot(x, hy), tolerance) << seed;
    }
  }
}

TEST(Convolve, PulseGivesTheDelayedImpulseResponse) {
  const auto h = noise(48, 5);
  for (std::size_t at = 0; at < 48; ++at) {
    Floats pulse(48), expected(48);
    pulse[at] = 1.0f;
    for (std::size_t n = at; n < 48; ++n) expected[n] = h[n - at];
    EXPECT_EQ(convolved(pulse, h), expected) << at;
  }
}

TEST(Backfil2, PulseGivesTheImpulseResponseBackwards) {
  const auto h = noise(80, 6);
  for (std::size_t at = 0; at < 80; ++at) {
    Floats pulse(80), expected(80);
    pulse[at] = 1.0f;
    for (std::size_t n = 0; n <= at; ++n) expected[n] = h[at - n];
    EXPECT_EQ(filtered_back(pulse, h), expected) << at;
  }
}

// Both are linear; for a factor that is a power of two the rounding scales too.
TEST(Convolve, ScalesExactlyWithAPowerOfTwo) {
  auto x = noise(48, 7);
  const auto h = noise(48, 8);
  Floats twice = x, forward = convolved(x, h), backward = filtered_back(x, h);
  for (float& v : twice) v *= 2.0f;
  for (float& v : forward) v *= 2.0f;
  for (float& v : backward) v *= 2.0f;
  EXPECT_EQ(convolved(twice, h), forward);
  EXPECT_EQ(filtered_back(twice, h), backward);
}

TEST(Convolve, LaterInputDoesNotReachBack) {
  auto x = noise(48, 9);
  const auto h = noise(48, 10);
  const Floats before = convolved(x, h);
  x[20] = 1e6f;
  const Floats after = convolved(x, h);
  EXPECT_EQ(Floats(after.begin(), after.begin() + 20), Floats(before.begin(), before.begin() + 20));
  EXPECT_NE(after[20], before[20]);
}

TEST(Convolve, WritesExactlyLPlaces) {
  const auto x = noise(5, 11), h = noise(5, 12);
  Floats y(6, 9.0f), z(6, 9.0f);
  convolve(x.data(), h.data(), y.data(), 5);
  backfil2(x.data(), z.data(), h.data(), 5);
  EXPECT_EQ(y[5], 9.0f);
  EXPECT_EQ(z[5], 9.0f);
}

TEST(Convolve, WidebandNamesComputeTheSame) {
  const auto x = noise(80, 13), h = noise(80, 14);
  Floats y(80);
  convolve16(x.data(), h.data(), y.data(), 80);
  EXPECT_EQ(y, convolved(x, h));
  corr_xh(x.data(), y.data(), h.data(), 80);
  EXPECT_EQ(y, filtered_back(x, h));
}

}  // namespace
}  // namespace quel
