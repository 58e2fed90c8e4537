#include "dsp/lev_dur.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>
#include <vector>

#include "dsp/plain_lpc.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::reflections;
using test::stable_filter;
using ::testing::ElementsAre;
using Floats = std::vector<float>;
using Doubles = std::vector<double>;

// Autocorrelation of speech under a Hamming window, over white noise of `floor` times its power.
Floats speech_correlation(int m, unsigned seed, double floor = 1e-4) {
  const auto x = test::speech_like(240, seed);
  Doubles y(x.size());
  for (std::size_t n = 0; n < y.size(); ++n) {
    y[n] = x[n] * (0.54 - 0.46 * std::cos(2 * std::numbers::pi * static_cast<double>(n) / 239));
  }
  Floats r;
  for (std::size_t k = 0; k <= static_cast<std::size_t>(m); ++k) {
    double sum = k == 0 ? 1.0 : 0.0;
    for (std::size_t n = k; n < y.size(); ++n) sum += y[n] * y[n - k];
    r.push_back(static_cast<float>(k == 0 ? sum * (1.0 + floor) : sum));
  }
  return r;
}

// Autocorrelation of 1/A(z) for white noise, from its pulse response.
Floats model_correlation(const Floats& a) {
  const std::size_t m = a.size() - 1;
  Doubles h(2000);
  for (std::size_t n = 0; n < h.size(); ++n) {
    h[n] = n == 0 ? 1.0 : 0.0;
    for (std::size_t i = 1; i <= m && i <= n; ++i) h[n] -= a[i] * h[n - i];
  }
  Floats r;
  for (std::size_t k = 0; k <= m; ++k) {
    double sum = 0;
    for (std::size_t n = k; n < h.size(); ++n) sum += h[n] * h[n - k];
    r.push_back(static_cast<float>(sum));
  }
  return r;
}

// Solves the normal equations by elimination with pivoting, in double.
Doubles plain_solve(const Floats& r) {
  const std::size_t m = r.size() - 1;
  std::vector<Doubles> rows(m, Doubles(m + 1));
  for (std::size_t i = 0; i < m; ++i) {
    for (std::size_t j = 0; j < m; ++j) rows[i][j] = r[i > j ? i - j : j - i];
    rows[i][m] = -r[i + 1];
  }
  for (std::size_t i = 0; i < m; ++i) {
    std::size_t pivot = i;
    for (std::size_t k = i + 1; k < m; ++k) {
      if (std::abs(rows[k][i]) > std::abs(rows[pivot][i])) pivot = k;
    }
    std::swap(rows[i], rows[pivot]);
    for (std::size_t k = 0; k < m; ++k) {
      if (k == i) continue;
      const double factor = rows[k][i] / rows[i][i];
      for (std::size_t j = i; j <= m; ++j) rows[k][j] -= factor * rows[i][j];
    }
  }
  Doubles a{1.0};
  for (std::size_t i = 0; i < m; ++i) a.push_back(rows[i][m] / rows[i][i]);
  return a;
}

// Entry 0: prediction error; entries 1..m vanish for the solution.
Doubles normal_equations(const Floats& a, const Floats& r) {
  Doubles left;
  for (std::size_t i = 0; i < r.size(); ++i) {
    double sum = 0;
    for (std::size_t j = 0; j < a.size(); ++j)
      sum += static_cast<double>(a[j]) * r[i > j ? i - j : j - i];
    left.push_back(sum);
  }
  return left;
}

// What rounding to float in each of m orders may leave of the equations, relative to r[0]: the
// classic bound of the recursion, m^2 roundings amplified by the product of 1 + |k|.
double residual_bound(const Floats& a) {
  const auto m = static_cast<int>(a.size()) - 1;
  double bound = m * m * 0x1p-24;
  for (const double k : reflections(a.data(), m)) bound *= 1 + std::abs(k);
  return bound;
}

float solved(Floats& a, const Floats& r) {
  a.assign(r.size() + 1, 9.0f);
  const float err = lev_dur(a.data(), r.data(), static_cast<int>(r.size()) - 1);
  EXPECT_EQ(a.back(), 9.0f);  // a ends with entry m
  a.pop_back();
  return err;
}

TEST(LevDur, SolvesTheNormalEquationsOfSpeech) {
  for (const int m : {1, 2, 3, 10, 16}) {
    for (unsigned seed = 0; seed < 100; ++seed) {
      SCOPED_TRACE(testing::Message() << "order " << m << ", seed " << seed);
      const Floats r = speech_correlation(m, seed);
      Floats a;
      const float err = solved(a, r);
      const Doubles left = normal_equations(a, r);
      const double bound = residual_bound(a) * r[0];
      EXPECT_NEAR(err, left[0], bound);
      for (std::size_t i = 1; i < left.size(); ++i) EXPECT_NEAR(left[i], 0.0, bound) << i;
    }
  }
}

TEST(LevDur, AgreesWithEliminationInDouble) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE(seed);
    const Floats r = speech_correlation(10, seed, /*floor=*/1.0);
    Floats a;
    solved(a, r);
    const Doubles exact = plain_solve(r);
    // No eigenvalue lies below the noise floor, half of r[0]; so a residual moves the solution by
    // at most twice its length.
    const double bound = 2 * std::sqrt(10.0) * residual_bound(a);
    for (std::size_t i = 0; i < exact.size(); ++i) EXPECT_NEAR(a[i], exact[i], bound) << i;
  }
}

TEST(LevDur, RecoversTheFilterThatMadeTheCorrelation) {
  for (const int m : {2, 10, 16}) {
    for (unsigned seed = 0; seed < 30; ++seed) {
      SCOPED_TRACE(testing::Message() << "order " << m << ", seed " << seed);
      Floats a = stable_filter(m, seed);
      float power = 1.0f;
      for (float& v : a) {
        v *= power;
        power *= 0.7f;
      }
      const Floats r = model_correlation(a);
      Floats back;
      const float err = solved(back, r);
      // No eigenvalue lies below the least of the spectrum 1/|A|^2. The roundings of r itself are
      // no more than those of the recursion.
      double largest = 0;
      for (int j = 0; j <= 1000; ++j) {
        largest =
            std::fmax(largest, std::norm(test::response(a.data(), m, std::numbers::pi * j / 1000)));
      }
      const double residual = 2 * residual_bound(a) * r[0];
      for (std::size_t i = 0; i < a.size(); ++i) {
        EXPECT_NEAR(back[i], a[i], residual * std::sqrt(m) * largest) << i;
      }
      EXPECT_NEAR(err, 1.0, residual);  // the energy of the noise that drove the filter
    }
  }
}

TEST(LevDur, TrueCorrelationsGiveMinimumPhase) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    Floats a;
    solved(a, speech_correlation(10, seed));
    EXPECT_TRUE(test::minimum_phase(a.data(), 10)) << seed;
  }
}

TEST(LevDur, ErrorFallsWithTheOrder) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    const Floats r = speech_correlation(16, seed);
    float last = r[0];
    for (int m = 1; m <= 16; ++m) {
      Floats a(17);
      const float err = lev_dur(a.data(), r.data(), m);
      EXPECT_LE(err, last) << m;
      last = err;
    }
  }
}

TEST(LevDur, FlatSpectrumGivesTheFlatFilter) {
  Floats r(11), a;
  r[0] = 1.0001f;
  EXPECT_EQ(solved(a, r), 1.0001f);
  Floats flat(11);
  flat[0] = 1.0f;
  EXPECT_EQ(a, flat);
}

TEST(LevDur, WorkedRecursions) {
  Floats a;
  EXPECT_EQ(solved(a, {1.0f, 0.5f}), 0.75f);
  EXPECT_THAT(a, ElementsAre(1.0f, -0.5f));
  EXPECT_EQ(solved(a, {1.0f, 0.5f, 0.25f}), 0.75f);
  EXPECT_THAT(a, ElementsAre(1.0f, -0.5f, 0.0f));
  // Order 2 updates the middle coefficient with itself: -1/2 + k (-1/2), k = 2/3.
  const float err = solved(a, {4.0f, 2.0f, -1.0f});
  EXPECT_FLOAT_EQ(err, 5.0f / 3.0f);
  EXPECT_FLOAT_EQ(a[1], -5.0f / 6.0f);
  EXPECT_FLOAT_EQ(a[2], 2.0f / 3.0f);
}

TEST(LevDur, SinusoidDrivesTheErrorToItsFloor) {
  Floats a;
  // A quarter of the sampling rate: the error vanishes exactly at order 2.
  EXPECT_EQ(solved(a, {1.0f, 0.0f, -1.0f}), 0.01f);
  EXPECT_THAT(a, ElementsAre(1.0f, 0.0f, 1.0f));
  EXPECT_EQ(solved(a, {1.0f, 0.0f, -1.0f, 0.0f, 1.0f}), 0.01f);
  EXPECT_THAT(a, ElementsAre(1.0f, 0.0f, 1.0f, 0.0f, 0.0f));
}

// With the white-noise floor the equations stay solvable whatever the sinusoid.
TEST(LevDur, AnySinusoidOverTheNoiseFloorGivesAStableFilter) {
  for (int step = 1; step < 100; ++step) {
    SCOPED_TRACE(step);
    Floats r, a;
    for (int k = 0; k <= 10; ++k) {
      const double w = step * std::numbers::pi / 100;
      r.push_back(static_cast<float>(1e6 * std::cos(w * k) * (k == 0 ? 1.0001 : 1.0)));
    }
    EXPECT_GT(solved(a, r), 0.0f);
    EXPECT_TRUE(test::minimum_phase(a.data(), 10));
  }
}

// Without it the recursion runs on rounding errors; the floor keeps its divisions finite.
TEST(LevDur, BareUnitSinusoidLeavesAPositiveErrorAndFiniteCoefficients) {
  for (int step = 1; step < 100; ++step) {
    SCOPED_TRACE(step);
    Floats r, a;
    for (int k = 0; k <= 10; ++k) {
      r.push_back(static_cast<float>(std::cos(step * std::numbers::pi / 100 * k)));
    }
    EXPECT_GT(solved(a, r), 0.0f);
    for (const float v : a) EXPECT_TRUE(std::isfinite(v));
  }
}

TEST(LevDur, NegativeErrorBecomesTheFloorAndTheRecursionGoesOn) {
  Floats a;
  // Order 1: k = -2, error 1 - 4 = -3.
  EXPECT_EQ(solved(a, {1.0f, 2.0f}), 0.01f);
  EXPECT_THAT(a, ElementsAre(1.0f, -2.0f));
  // Order 2: s = 1 - 4 = -3, k = 3 / 0.01, error 0.01 - 900.
  EXPECT_EQ(solved(a, {1.0f, 2.0f, 1.0f}), 0.01f);
  EXPECT_THAT(a, ElementsAre(1.0f, -602.0f, 300.0f));
}

}  // namespace
}  // namespace quel
