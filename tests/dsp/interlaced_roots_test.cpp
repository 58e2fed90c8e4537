#include "dsp/interlaced_roots.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "dsp/a2isp.h"
#include "support/kernels.h"

namespace quel {
namespace {

std::vector<float> cosines(int intervals) {
  std::vector<float> grid;
  for (int j = 0; j <= intervals; ++j) {
    grid.push_back(static_cast<float>(std::cos(std::numbers::pi * j / intervals)));
  }
  return grid;
}

// The series whose roots are the cosines of these angles: the product of 1 - 2 cos(angle) z^-1 +
// z^-2, from its middle coefficient outwards.
std::vector<float> series_of(const std::vector<double>& angles) {
  std::vector<double> product = {1.0};
  for (const double angle : angles) {
    std::vector<double> next(product.size() + 2);
    for (std::size_t i = 0; i < product.size(); ++i) {
      next[i] += product[i];
      next[i + 1] -= 2.0 * std::cos(angle) * product[i];
      next[i + 2] += product[i];
    }
    product = next;
  }
  std::vector<float> f;
  for (std::size_t i = 0; i <= angles.size(); ++i) f.push_back(static_cast<float>(product[i]));
  return f;
}

// Interval by interval, as interlaced_roots is defined. `shared` counts roots that follow another
// within one interval.
std::vector<float> in_order(const std::vector<float>& grid, const std::vector<float>* f, int order,
                            int wanted, int& shared) {
  std::vector<float> roots;
  float xlow = grid[0];
  double ylow = chebyshev2(xlow, f[0].data(), order);
  std::size_t last = 0;
  for (std::size_t j = 1; j < grid.size() && roots.size() < static_cast<std::size_t>(wanted);) {
    const float* series = f[roots.size() % 2].data();
    float xhigh = xlow;
    double yhigh = ylow;
    xlow = grid[j];
    ylow = chebyshev2(xlow, series, order);
    if (ylow * yhigh > 0.0) {
      ++j;
      continue;
    }
    for (int step = 0; step < 4; ++step) {
      const float xmid = (xlow + xhigh) * 0.5f;
      const double ymid = chebyshev2(xmid, series, order);
      if (ylow * ymid <= 0.0) {
        yhigh = ymid;
        xhigh = xmid;
      } else {
        ylow = ymid;
        xlow = xmid;
      }
    }
    if (yhigh != ylow) {
      const double width = static_cast<double>(xhigh) - xlow;
      xlow = static_cast<float>(xlow - ylow * width / (yhigh - ylow));
    }
    if (j == last) ++shared;
    last = j;
    roots.push_back(xlow);
    ylow = chebyshev2(xlow, f[roots.size() % 2].data(), order);
  }
  return roots;
}

// Angles that rise by less than a grid's step now and then, so that intervals hold two roots, where
// one search for all of them would not do.
TEST(InterlacedRoots, AreThoseOfASearchInOrder) {
  test::in_every_instruction_set([] {
    constexpr int intervals = 60, order = 5, wanted = 10;
    const auto grid = cosines(intervals);
    int shared = 0, alone = 0;
    for (unsigned seed = 0; seed < 300; ++seed) {
      SCOPED_TRACE(seed);
      std::vector<double> angles[2];
      double angle = 0.05;
      for (const float step : test::noise(wanted, seed)) {
        angle += seed % 2 == 0 ? 0.02 + 0.1 * std::fabs(step) / 1000 : 0.06 + 0.1 * (step > 0);
        angles[(angles[0].size() + angles[1].size()) % 2].push_back(angle);
      }
      const std::vector<float> f[] = {series_of(angles[0]), series_of(angles[1])};
      int of_these = 0;
      const auto expected = in_order(grid, f, order, wanted, of_these);
      shared += of_these;
      alone += of_these == 0 ? 1 : 0;
      std::vector<float> roots(wanted);
      const int found = interlaced_roots(grid.data(), intervals, {f[0].data(), order},
                                         {f[1].data(), order}, roots.data(), wanted);
      roots.resize(test::size(found));
      test::expect_same(roots, expected);
    }
    EXPECT_GT(shared, 50);
    EXPECT_GT(alone, 50);
  });
}

}  // namespace
}  // namespace quel
