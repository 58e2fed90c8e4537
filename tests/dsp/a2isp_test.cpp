#include "dsp/a2isp.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <numbers>
#include <vector>

#include "dsp/interpol_lpc.h"
#include "dsp/isp2a.h"
#include "dsp/plain_lpc.h"
#include "dsp/scratch.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::plain_isp;
using test::Random;
using test::stable_filter;
using ::testing::Each;
using Floats = std::vector<float>;

constexpr double pi = std::numbers::pi;

// A fallback that no filter has.
const Floats marker{9, 8, 7, 6, 5, 4, 3, 2, 1, 0};

Floats pairs_of(const Floats& a) {
  const auto M = static_cast<int>(a.size()) - 1;
  Floats isp(a.size(), 99.0f);
  a2isp(a.data(), isp.data(), marker.data(), M);
  EXPECT_EQ(isp.back(), 99.0f);  // isp ends with entry M-1
  isp.pop_back();
  return isp;
}

Floats filter_of(const Floats& isp) {
  Floats a(isp.size() + 1);
  isp2a(isp.data(), a.data(), static_cast<int>(isp.size()));
  return a;
}

// The search ends with the chord across a sixteenth of a grid interval. It misses the root by up to
// w^2/8 |f''/f'|, w the width; with the nearest roots of the same polynomial d away on both sides,
// |f''/f'| is up to 4/d.
constexpr double bracket = pi / 60 / 16;

double chord_error(const Floats& isp) {
  double apart = 2.0;
  for (std::size_t i = 0; i + 3 < isp.size(); ++i) {
    apart = std::min(apart, static_cast<double>(isp[i]) - isp[i + 2]);
  }
  EXPECT_GT(apart, 2 * bracket);
  return bracket * bracket / 8 * 4 / (apart - bracket);
}

// The sum (0) and difference (1) polynomials as series for chebyshev2, in float as in the routine.
std::vector<Floats> polynomials(const Floats& a) {
  Floats f1, f2;
  for (std::size_t i = 0; i < 5; ++i) {
    f1.push_back(a[i] + a[10 - i]);
    f2.push_back(a[i] - a[10 - i] + (i >= 2 ? f2[i - 2] : 0.0f));
  }
  f1.push_back(2.0f * a[5]);
  return {f1, f2};
}

// Sign changes over -1..1 in steps far below any grid's.
int sign_changes(const Floats& f) {
  int changes = 0;
  double last = 0;
  for (int j = 0; j <= 20000; ++j) {
    const auto x = static_cast<float>(1.0 - 1e-4 * j);
    const double y = chebyshev2(x, f.data(), static_cast<int>(f.size()) - 1);
    if (y * last < 0) ++changes;
    if (y != 0) last = y;
  }
  return changes;
}

// Frequencies at least `apart` Hz from each other and from 0 and 4000.
Floats random_pairs(unsigned seed, double apart) {
  Random random(seed);
  std::vector<double> free(9);
  for (double& f : free) f = random.uniform(0.0, 4000.0 - 10 * apart);
  std::sort(free.begin(), free.end());
  Floats isp;
  for (std::size_t i = 0; i < 9; ++i) {
    const double hz = free[i] + apart * static_cast<double>(i + 1);
    isp.push_back(static_cast<float>(std::cos(hz * pi / 4000)));
  }
  isp.push_back(static_cast<float>(random.uniform(-0.5, 0.8)));
  return isp;
}

TEST(Chebyshev2, IsTheCosineSeries) {
  Random random(1);
  for (int n = 2; n <= 8; ++n) {
    for (int trial = 0; trial < 200; ++trial) {
      const auto f = test::noise(n + 1, static_cast<unsigned>(1000 * n + trial), 1.0);
      const auto x = static_cast<float>(random.uniform(-1.0, 1.0));
      double sum = 0.5 * f.back();
      for (int i = 0; i < n; ++i) {
        sum += static_cast<double>(f[static_cast<std::size_t>(i)]) *
               std::cos((n - i) * std::acos(static_cast<double>(x)));
      }
      // Double arithmetic, whose errors the recursion can raise by n^2.
      EXPECT_NEAR(chebyshev2(x, f.data(), n), sum, 1e-12) << n;
    }
  }
}

TEST(Chebyshev2, EndsOfTheRange) {
  const float f[] = {1.0f, 2.0f, 4.0f, 8.0f};  // T3 + 2 T2 + 4 T1 + 8/2
  EXPECT_EQ(chebyshev2(1.0f, f, 3), 11.0);
  EXPECT_EQ(chebyshev2(-1.0f, f, 3), 1.0);
  EXPECT_EQ(chebyshev2(0.0f, f, 3), 2.0);
}

TEST(A2Isp, FlatFilterGivesEquidistantFrequencies) {
  const Floats flat{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const Floats isp = pairs_of(flat);
  for (std::size_t i = 0; i < 9; ++i) {
    EXPECT_NEAR(isp[i], std::cos(pi * static_cast<double>(i + 1) / 10), chord_error(isp)) << i;
    EXPECT_NEAR(isp[i], -isp[8 - i], 2 * chord_error(isp)) << i;
  }
  EXPECT_EQ(isp[9], 0.0f);
  const Floats back = filter_of(isp);
  // Nine roots near 3e-8, which is a float's rounding here, and a few roundings in the products.
  for (std::size_t i = 0; i < 11; ++i) EXPECT_NEAR(back[i], flat[i], 1e-6) << i;
}

TEST(A2Isp, AgreesWithThePhaseOfTheFilter) {
  for (const int M : {6, 8, 10}) {
    for (unsigned seed = 0; seed < 60; ++seed) {
      SCOPED_TRACE(testing::Message() << "order " << M << ", seed " << seed);
      const auto a = stable_filter(M, seed);
      const Floats isp = pairs_of(a);
      const auto exact = plain_isp(a.data(), M);
      ASSERT_EQ(exact.size(), isp.size());
      for (std::size_t i = 0; i + 1 < isp.size(); ++i) {
        // Sums of coefficients are rounded to float: 1e-6 at the roots of such filters.
        EXPECT_NEAR(isp[i], exact[i], chord_error(isp) + 1e-6) << i;
      }
      EXPECT_EQ(isp.back(), a.back());
    }
  }
}

TEST(A2Isp, PairsFallStrictlyAndAlternateBetweenThePolynomials) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    const auto a = stable_filter(10, seed);
    const Floats isp = pairs_of(a);
    const auto f = polynomials(a);
    const double shift = chord_error(isp) + 1e-6;
    for (std::size_t i = 0; i < 9; ++i) {
      EXPECT_LT(isp[i], i == 0 ? 1.0f : isp[i - 1]);
      EXPECT_GT(isp[i], -1.0f);
      const Floats& own = f[i % 2];
      const int n = static_cast<int>(own.size()) - 1;
      const auto left = static_cast<float>(isp[i] - shift),
                 right = static_cast<float>(isp[i] + shift);
      EXPECT_LT(chebyshev2(left, own.data(), n) * chebyshev2(right, own.data(), n), 0.0) << i;
    }
  }
}

TEST(A2Isp, ConvertingBackGivesTheFilter) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    const auto a = stable_filter(10, seed);
    const Floats isp = pairs_of(a), back = filter_of(isp);
    // What moving each root by its error does to each coefficient, and a few roundings of
    // polynomial coefficients, which are at most 252.
    const double error = chord_error(isp) + 1e-6;
    std::vector<double> moved(11, 4 * 252 * 0x1p-24);
    for (std::size_t k = 0; k < 9; ++k) {
      Floats other = isp;
      other[k] += 0.001f;
      const Floats there = filter_of(other);
      for (std::size_t i = 0; i < 11; ++i) moved[i] += std::abs(there[i] - back[i]) * error / 0.001;
    }
    for (std::size_t i = 0; i < 11; ++i) EXPECT_NEAR(back[i], a[i], moved[i]) << i;
  }
}

TEST(A2Isp, FindsThePairsThatMadeTheFilter) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    const Floats isp = random_pairs(seed, 100.0), found = pairs_of(filter_of(isp));
    for (std::size_t k = 0; k < 9; ++k) {
      // A rounding error of the series, with up to six coefficients of 252 at most, shifts a root
      // by that over the slope, 2^(n-1) times the leading coefficient and the other roots'
      // distances.
      double slope = (k % 2 == 0 ? 16.0 * (1 + isp[9]) : 8.0 * (1 - isp[9]));
      for (std::size_t i = k % 2; i < 9; i += 2) {
        if (i != k) slope *= isp[k] - isp[i];
      }
      const double rounding = 6 * 252 * 0x1p-24 / std::abs(slope);
      EXPECT_NEAR(found[k], isp[k], chord_error(isp) + rounding) << k;
    }
    EXPECT_EQ(found[9], isp[9]);
  }
}

TEST(A2Isp, NeighboursInOneGridIntervalAreBothFound) {
  // cos 57 deg = 0.5446, cos 60 deg = 0.5; the upper of the two may belong to either polynomial.
  for (const std::size_t upper : {2u, 3u}) {
    Floats isp(std::begin(isf_ini), std::end(isf_ini));
    isp[upper] = 0.535f;
    isp[upper + 1] = 0.51f;
    const Floats found = pairs_of(filter_of(isp));
    // Roots of coefficients rounded to float, as good as 1e-6 when so far from their own kind.
    for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(found[i], isp[i], chord_error(isp) + 1e-6) << i;
  }
}

TEST(A2Isp, TwoRootsOfOnePolynomialInOneGridIntervalAreMissed) {
  Floats isp(std::begin(isf_ini), std::end(isf_ini));
  isp[2] = 0.54f;
  isp[3] = 0.525f;
  isp[4] = 0.51f;
  EXPECT_EQ(pairs_of(filter_of(isp)), marker);
}

TEST(A2Isp, RootOnAGridPoint) {
  // T5 + T4/2 + T3/4 vanishes at cos 60 deg without any rounding: 1/2 - 1/4 - 1/4.
  Floats a(11);
  a[0] = 1.0f;
  a[1] = 0.5f;
  a[2] = 0.25f;
  ASSERT_EQ(chebyshev2(0.5f, polynomials(a)[0].data(), 5), 0.0);
  const Floats isp = pairs_of(a);
  EXPECT_EQ(std::count(isp.begin(), isp.end(), 0.5f), 1);
  const auto exact = plain_isp(a.data(), 10);
  for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(isp[i], exact[i], chord_error(isp)) << i;
}

TEST(A2Isp, RootsAtTheEndsOfTheGrid) {
  Floats low(11), high(11);
  low[0] = high[0] = 1.0f;
  low[1] = -1.0f;  // zero at 0 Hz
  high[1] = 1.0f;  // zero at 4000 Hz
  EXPECT_EQ(pairs_of(low)[0], 1.0f);
  EXPECT_EQ(pairs_of(high)[8], -1.0f);
}

TEST(A2Isp, CommonRootOfBothPolynomialsIsNoDivisionByZero) {
  // A zero of A(z) on the unit circle at 60 degrees, where there is a grid point as well.
  Floats a(11);
  a[0] = 1.0f;
  a[1] = -1.0f;
  a[2] = 1.0f;
  const auto f = polynomials(a);
  ASSERT_EQ(chebyshev2(0.5f, f[0].data(), 5), 0.0);
  ASSERT_EQ(chebyshev2(0.5f, f[1].data(), 4), 0.0);
  const Floats isp = pairs_of(a);
  ASSERT_NE(isp, Floats(marker.begin(), marker.end()));
  EXPECT_NE(std::find(isp.begin(), isp.end(), 0.5f), isp.end());
  for (std::size_t i = 0; i < 9; ++i) {
    EXPECT_TRUE(std::isfinite(isp[i]));
    EXPECT_LE(isp[i], i == 0 ? 1.0f : isp[i - 1]);
  }
  EXPECT_THAT(pairs_of(Floats(11)),
              Each(::testing::Truly([](float v) { return std::isfinite(v); })));
}

TEST(A2Isp, EightRootsGiveTheOldPairsInAllTenPlaces) {
  Floats isp(std::begin(isf_ini), std::end(isf_ini));
  isp[9] = 0.3f;
  isp[8] = -0.99f;
  EXPECT_NE(pairs_of(filter_of(isp)), marker);
  isp[8] = -1.05f;  // the sum polynomial's last root leaves -1..1
  const Floats unstable = filter_of(isp);
  const auto f = polynomials(unstable);
  ASSERT_EQ(sign_changes(f[0]), 4);
  ASSERT_EQ(sign_changes(f[1]), 4);
  ASSERT_FALSE(test::minimum_phase(unstable.data(), 10));
  EXPECT_EQ(pairs_of(unstable), marker);
}

TEST(A2Isp, AnyFilterGivesFallingPairsOrTheOldOnes) {
  Random random(5);
  int fallbacks = 0, found = 0;
  for (int trial = 0; trial < 3000; ++trial) {
    SCOPED_TRACE(trial);
    const double size = std::pow(10.0, random.uniform(-3.0, 12.0));
    Floats a{1.0f};
    for (int i = 1; i <= 10; ++i) a.push_back(static_cast<float>(size * random.gauss()));
    const Floats isp = pairs_of(a);
    if (isp == marker) {
      ++fallbacks;
      continue;
    }
    ++found;
    EXPECT_EQ(isp[9], a[10]);
    for (std::size_t i = 0; i < 9; ++i) {
      EXPECT_LE(isp[i], i == 0 ? 1.0f : isp[i - 1]);
      EXPECT_GE(isp[i], -1.0f);
    }
  }
  EXPECT_GT(fallbacks, 100);
  EXPECT_GT(found, 100);
}

TEST(A2Isp, FilterThatIsNotFiniteGivesTheOldPairs) {
  for (const float bad :
       {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
    for (std::size_t at = 1; at <= 10; ++at) {
      auto a = stable_filter(10, 1);
      a[at] = bad;
      EXPECT_EQ(pairs_of(a), marker) << at;
    }
  }
}

TEST(A2Isp, ScratchIsGivenBack) {
  const std::byte* const top = i_heap;
  pairs_of(stable_filter(10, 2));
  EXPECT_EQ(i_heap, top);
}

}  // namespace
}  // namespace quel
