#include "dsp/interlaced_roots.h"

#include <array>
#include <cstddef>
#include <vector>

#include "dsp/a2isp.h"
#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"

namespace quel {
namespace {

constexpr std::size_t parts = 16;  // of an interval that is halved four times

// The root between xlow and xhigh, across which the sign of the series changes. All points that
// four bisections may come to are evaluated at once.
float refine_root(float xlow, double ylow, float xhigh, double yhigh, CosineSeries series) {
  std::array<float, parts + 1> x;
  std::array<double, parts + 1> y;
  x.front() = xlow;
  x.back() = xhigh;
  for (std::size_t step = parts; step > 1; step /= 2) {
    for (std::size_t i = step / 2; i < parts; i += step) {
      x[i] = (x[i - step / 2] + x[i + step / 2]) * 0.5f;
    }
  }
  series_values(&x[1], parts - 1, series, &y[1]);
  y.front() = ylow;
  y.back() = yhigh;
  std::size_t low = 0;
  for (std::size_t step = parts / 2; step > 0; step /= 2) {
    // The sign changes below the middle, or else above it.
    if (!(y[low] * y[low + step] <= 0.0)) low += step;
  }
  // Zero at both ends: any point between is as good a root, and 0/0 is none.
  if (y[low + 1] == y[low]) return x[low];
  const double width = static_cast<double>(x[low + 1]) - x[low];
  return static_cast<float>(x[low] - y[low] * width / (y[low + 1] - y[low]));
}

}  // namespace

void series_values(const float* x, int count, CosineSeries series, double* y) {
  dsp_kernels().series_values(x, count, series.f, series.order, y);
  if constexpr (check_kernels) {
    std::vector<double> wanted;
    for (int i = 0; i < count; ++i) wanted.push_back(chebyshev2(x[i], series.f, series.order));
    require_same("series_values", y, wanted.data(), count);
  }
}

namespace {

using OnGrid = double[2][most_intervals + 1];

// The definition: interval by interval, and behind a root the rest of its interval.
int roots_in_order(const float* grid, int intervals, const CosineSeries* series,
                   const OnGrid& on_grid, float* roots, int wanted) {
  int found = 0;
  int now = 0;
  float xlow = grid[0];
  double ylow = on_grid[now][0];
  for (int j = 0; found < wanted && j < intervals;) {
    ++j;
    const float xhigh = xlow;
    const double yhigh = ylow;
    xlow = grid[j];
    ylow = on_grid[now][j];
    if (ylow * yhigh <= 0.0) {
      --j;
      xlow = refine_root(xlow, ylow, xhigh, yhigh, series[now]);
      roots[found++] = xlow;
      now = 1 - now;
      series_values(&xlow, 1, series[now], &ylow);
    }
  }
  return found;
}

// As if no interval held two roots: then they do not depend on each other. -1 where one does.
int separate_roots(const float* grid, int intervals, const CosineSeries* series,
                   const OnGrid& on_grid, float* roots, int wanted) {
  constexpr int most = 16;
  if (wanted > most) return -1;
  int end[most];  // of each root's interval
  int found = 0;
  for (int j = 1; found < wanted && j <= intervals; ++j) {
    const double* y = on_grid[found % 2];
    if (y[j] * y[j - 1] <= 0.0) end[found++] = j;
  }
  float by_series[2][most / 2];
  for (int k = 0; k < found; ++k) {
    const double* y = on_grid[k % 2] + end[k];
    const float* x = grid + end[k];
    roots[k] = by_series[k % 2][k / 2] = refine_root(x[0], y[0], x[-1], y[-1], series[k % 2]);
  }
  // The other series must not change its sign between a root and the end of its interval.
  for (int s = 0; s < 2; ++s) {
    double others[most / 2];
    const int count = (found + 1 - s) / 2;
    series_values(by_series[s], count, series[1 - s], others);
    for (int i = 0; i < count; ++i) {
      const int k = 2 * i + s;
      if (k + 1 < wanted && on_grid[1 - s][end[k]] * others[i] <= 0.0) return -1;
    }
  }
  return found;
}

}  // namespace

int interlaced_roots(const float* grid, int intervals, CosineSeries first, CosineSeries second,
                     float* roots, int wanted) {
  const CosineSeries series[] = {first, second};
  OnGrid on_grid;
  for (int s = 0; s < 2; ++s) series_values(grid, intervals + 1, series[s], on_grid[s]);
  const int found = separate_roots(grid, intervals, series, on_grid, roots, wanted);
  if (found < 0) return roots_in_order(grid, intervals, series, on_grid, roots, wanted);
  if constexpr (check_kernels) {
    std::vector<float> in_order(static_cast<std::size_t>(wanted));
    const int all = roots_in_order(grid, intervals, series, on_grid, in_order.data(), wanted);
    require_same("interlaced_roots", &found, &all, 1);
    require_same("interlaced_roots", roots, in_order.data(), all);
  }
  return found;
}

}  // namespace quel
