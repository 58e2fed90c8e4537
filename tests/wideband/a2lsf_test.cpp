#include "wideband/a2lsf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "dsp/scratch.h"
#include "support/signals.h"
#include "wideband/lsf2a.h"

namespace quel {
namespace {

using std::numbers::pi;
using test::stable_filter;

const std::vector<float> fallback(16, -7.0f);

// A line is where a chord across a sixteenth of a grid interval cuts the axis, and is rounded to
// float. Off a root of f by at most width^2 / 8 * |f''/f'|; `bend` is |f''/f'| there, and an
// interval of the grid is pi / 100 * sin(w) wide at cos(w), at most.
double chord_error(double bend, double sin_w = 1.0) {
  const double width = pi / 100 * sin_w / 16;
  return width * width / 8 * bend + 0x1p-25;
}

std::vector<float> lines_of(const std::vector<float>& a) {
  std::vector<float> lsp(16, 3.0f);
  a2lsf(a.data(), lsp.data(), fallback.data(), 16);
  return lsp;
}

// The sum (sign = 1) or difference (-1) polynomial A(z) +- z^-17 A(1/z) on the unit circle, turned
// to a real number and freed of its trivial root.
double on_circle(const std::vector<float>& a, double w, int sign) {
  double sum = 0;
  for (int i = 0; i <= 16; ++i) {
    const double angle = (8.5 - i) * w;
    sum += a[static_cast<std::size_t>(i)] * (sign > 0 ? std::cos(angle) : std::sin(angle));
  }
  return sum / (sign > 0 ? std::cos(w / 2) : std::sin(w / 2));
}

// All roots of both polynomials by a scan 30 times finer than the grid, then bisection.
std::vector<double> plain_lines(const std::vector<float>& a) {
  std::vector<double> lines;
  for (const int sign : {1, -1}) {
    const int steps = 3000;
    for (int j = 0; j < steps; ++j) {
      double lo = (j + 1e-7) * pi / steps, hi = (j + 1 - 1e-7) * pi / steps;
      const double at_lo = on_circle(a, lo, sign);
      if (at_lo * on_circle(a, hi, sign) > 0) continue;
      for (int step = 0; step < 50; ++step) {
        const double mid = 0.5 * (lo + hi);
        (at_lo * on_circle(a, mid, sign) > 0 ? lo : hi) = mid;
      }
      lines.push_back(std::cos(lo));
    }
  }
  std::sort(lines.rbegin(), lines.rend());
  return lines;
}

TEST(Chebyshev, SumsTheSeries) {
  test::Random random(1);
  for (const int n : {2, 3, 8}) {
    std::vector<float> f(static_cast<std::size_t>(n) + 1);
    for (int trial = 0; trial < 200; ++trial) {
      for (float& v : f) v = static_cast<float>(random.uniform(-4, 4));
      const auto x = static_cast<float>(random.uniform(-1, 1));
      double sum = std::cos(n * std::acos(static_cast<double>(x)));  // f[0] counts as 1
      for (int k = 1; k <= n; ++k) {
        const double weight = k == n ? 0.5 : 1.0;
        sum += weight * f[static_cast<std::size_t>(k)] *
               std::cos((n - k) * std::acos(static_cast<double>(x)));
      }
      EXPECT_NEAR(chebyshev(x, f.data(), n), sum, 1e-11);  // double throughout, |terms| < 40
    }
  }
}

TEST(InitGrid, IsTheCosineOfHundredthsOfPi) {
  std::vector<float> grid(lsf_grid_points + 1, -7.0f);
  init_grid(grid.data());
  EXPECT_EQ(grid[0], 1.0f);
  EXPECT_EQ(grid[100], -1.0f);
  EXPECT_EQ(grid[101], -7.0f);
  for (int j = 0; j <= 100; ++j) {
    // The float step is 3e-9 above pi/100.
    EXPECT_NEAR(grid[static_cast<std::size_t>(j)], std::cos(j * pi / 100), 5e-7);
  }
  EXPECT_TRUE(std::is_sorted(grid.rbegin() + 1, grid.rend()));
}

TEST(A2lsf, FlatFilterGivesTheNeutralLines) {
  std::vector<float> a(17, 0.0f);
  a[0] = 1.0f;
  const auto lsp = lines_of(a);
  for (int i = 0; i < 16; ++i) {
    // The polynomials are cos(8.5 w) / cos(w/2) and sin(8.5 w) / sin(w/2) of x = cos(w): f''/f' is
    // (tan(w/2) - cot(w)) / sin(w) up to its sign, and for the second -(cot(w/2) + cot(w)) /
    // sin(w). The interval's wider end lies up to pi / 100 nearer to the middle.
    const double w = (i + 1) * pi / 17;
    const double slope = i % 2 == 0 ? std::tan(w / 2) : -1 / std::tan(w / 2);
    const double bend = std::abs((slope - 1 / std::tan(w)) / std::sin(w));
    const double sin_w = std::min(1.0, std::sin(w) + pi / 100);
    EXPECT_NEAR(lsp[static_cast<std::size_t>(i)], std::cos(w), 1.2 * chord_error(bend, sin_w));
  }
}

TEST(A2lsf, FindsTheRootsOfBothPolynomialsInTurn) {
  int found = 0;
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    const auto a = stable_filter(16, seed);
    const auto lsp = lines_of(a);
    if (lsp == fallback) continue;
    ++found;
    const auto expected = plain_lines(a);
    ASSERT_EQ(expected.size(), 16u);
    for (std::size_t i = 0; i < 16; ++i) {
      // Chord across a sixteenth of a grid interval of at most 0.0315: the error is below
      // 0.002^2 / 8 * |f''/f'|, and two roots of one polynomial a grid interval apart make
      // |f''/f'| some 2 / 0.03.
      EXPECT_NEAR(lsp[i], expected[i], 4e-5) << i;
      if (i > 0) {
        EXPECT_LT(lsp[i], lsp[i - 1]);
      }
    }
  }
  EXPECT_GT(found, 30);  // the rest has two lines of one polynomial in one interval
}

TEST(A2lsf, RootOnAGridPointCountsOnceAndExactly) {
  // Order 4, every step of it exact: sum polynomial 2 X (X - g) with g on the grid, difference
  // polynomial 2 (X^2 - 1/8).
  std::vector<float> grid(lsf_grid_points);
  init_grid(grid.data());
  const float g = grid[15];
  const std::vector<float> a = {1.0f, -g, 1.75f - g, 0.25f - g, 1.0f - g};
  const std::vector<float> sum = {1.0f, -2.0f * g, 2.0f};
  ASSERT_EQ(chebyshev(g, sum.data(), 2), 0.0);
  std::vector<float> lsp(4), old(4, -7.0f);
  a2lsf(a.data(), lsp.data(), old.data(), 4);
  EXPECT_EQ(lsp[0], g);
  // f''/f' at a root of a parabola is 2 over the distance of its roots.
  const double root = std::sqrt(0.125);
  EXPECT_NEAR(lsp[1], root, chord_error(2 / (2 * root)));
  EXPECT_NEAR(lsp[2], 0.0, chord_error(2 / g));
  EXPECT_NEAR(lsp[3], -root, chord_error(2 / (2 * root)));
}

TEST(A2lsf, RootsOfBothPolynomialsOnTheSamePointAreDefined) {
  // Sum polynomial 2 (X - 1/2)(X + 1), difference polynomial 2 (X - 1/4)(X + 1): the last search
  // starts and ends on the grid's end, where its polynomial is zero too.
  const std::vector<float> a = {1.0f, 1.25f, 0.25f, 0.75f, 0.75f};
  std::vector<float> lsp(4), old(4, -7.0f);
  a2lsf(a.data(), lsp.data(), old.data(), 4);
  EXPECT_NEAR(lsp[0], 0.5, chord_error(2 / 1.5));  // parabolas, as above
  EXPECT_NEAR(lsp[1], 0.25, chord_error(2 / 1.25));
  EXPECT_EQ(lsp[2], -1.0f);
  EXPECT_EQ(lsp[3], -1.0f);
}

TEST(A2lsf, LinesInOneGridIntervalAreBothFound) {
  // Half an interval apart, near the middle of interval 40: its first root found, the search for
  // the other polynomial's goes on in the same interval.
  std::vector<float> lsp(16), a(17);
  for (int i = 0; i < 16; ++i) {
    const double w = i == 6 ? 40.25 * pi / 100 : i == 7 ? 40.75 * pi / 100 : (i + 1) * pi / 17;
    lsp[static_cast<std::size_t>(i)] = static_cast<float>(std::cos(w));
  }
  lsf2a(lsp.data(), a.data(), 16);
  const auto found = lines_of(a);
  ASSERT_NE(found, fallback);
  for (std::size_t i = 0; i < 16; ++i) EXPECT_NEAR(found[i], lsp[i], 4e-5) << i;  // as above
}

TEST(A2lsf, RefinesByFourBisectionsAndAChord) {
  std::vector<float> grid(lsf_grid_points);
  init_grid(grid.data());
  int closer_to_four = 0;
  for (unsigned seed = 0; seed < 20; ++seed) {
    const auto a = stable_filter(16, seed);
    const auto lsp = lines_of(a);
    if (lsp == fallback) continue;
    for (std::size_t i = 0; i < 16; ++i) {
      // The interval from the grid; the previous root bounds it where that is nearer.
      const auto below =
          std::find_if(grid.begin(), grid.end(), [&](float g) { return g < lsp[i]; });
      const double start = i > 0 ? std::min(*(below - 1), lsp[i - 1]) : *(below - 1);
      const auto f = [&](double x) { return on_circle(a, std::acos(x), i % 2 == 0 ? 1 : -1); };
      double chord[3];
      for (const int bisections : {3, 4, 5}) {
        double low = *below, high = start;
        for (int step = 0; step < bisections; ++step) {
          const double mid = 0.5 * (low + high);
          (f(low) * f(mid) <= 0 ? high : low) = mid;
        }
        chord[bisections - 3] = low - f(low) * (high - low) / (f(high) - f(low));
      }
      // Rounding of a line and of the coefficients, which shallow roots magnify.
      const auto error = [&](int k) { return std::abs(lsp[i] - chord[k]); };
      if (std::abs(chord[1] - chord[2]) < 2e-6 || std::abs(chord[1] - chord[0]) < 2e-6) continue;
      EXPECT_LT(error(1), std::min(error(0), error(2))) << seed << ' ' << i;
      ++closer_to_four;
    }
  }
  EXPECT_GT(closer_to_four, 20);
}

TEST(A2lsf, FifteenRootsGiveTheFallbackWhole) {
  std::vector<float> lsp(16), a(17);
  for (int i = 0; i < 16; ++i) {
    lsp[static_cast<std::size_t>(i)] = static_cast<float>(std::cos((i + 1) * pi / 17));
  }
  lsf2a(lsp.data(), a.data(), 16);
  EXPECT_NE(lines_of(a), fallback);
  // The last line of the difference polynomial moves above the last of the sum polynomial: behind
  // that one, the fifteenth found, no sixteenth is left.
  lsp[15] = 0.5f * (lsp[13] + lsp[14]);
  lsf2a(lsp.data(), a.data(), 16);
  EXPECT_EQ(lines_of(a), fallback);
}

TEST(A2lsf, UnstableFilterGivesTheFallback) {
  auto a = stable_filter(16, 1);
  a[16] = 1.5f;  // the product of the poles lies outside the unit circle
  EXPECT_EQ(lines_of(a), fallback);
}

TEST(A2lsf, AnyFilterGivesCosinesOrTheFallback) {
  test::Random random(5);
  for (int trial = 0; trial < 3000; ++trial) {
    auto a = stable_filter(16, static_cast<unsigned>(trial));
    const float absurd[] = {0.0f,
                            -2.0f,
                            1e30f,
                            std::numeric_limits<float>::max(),
                            std::numeric_limits<float>::infinity(),
                            std::numeric_limits<float>::quiet_NaN()};
    for (int n = random.integer(1, 3); n > 0; --n) {
      const float v = absurd[random.integer(0, 5)];
      a[static_cast<std::size_t>(random.integer(1, 16))] = random.integer(0, 1) == 0 ? v : -v;
    }
    const auto lsp = lines_of(a);
    if (lsp == fallback) continue;
    for (const float x : lsp) EXPECT_TRUE(x >= -1.0f && x <= 1.0f) << trial << ": " << x;
  }
}

TEST(A2lsf, GivesItsScratchBack) {
  ScratchArea area;
  const ScratchSwitch on(area);
  lines_of(stable_filter(16, 2));
  EXPECT_EQ(i_heap, area.top());
}

}  // namespace
}  // namespace quel
