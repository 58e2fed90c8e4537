#include "dsp/a2isp.h"

#include <algorithm>
#include <array>
#include <numbers>

#include "dsp/elementary.h"
#include "dsp/interlaced_roots.h"
#include "dsp/scratch.h"

namespace quel {
namespace {

constexpr int grid_intervals = 60;

constexpr std::array<float, grid_intervals + 1> cosine_grid() {
  std::array<float, grid_intervals + 1> grid{};
  for (int j = 0; j <= grid_intervals; ++j) {
    const double angle = j * (std::numbers::pi / grid_intervals);
    grid[static_cast<std::size_t>(j)] = static_cast<float>(cosine(angle));
  }
  return grid;
}

constexpr std::array<float, grid_intervals + 1> grid = cosine_grid();

}  // namespace

double chebyshev2(float x, const float* f, int n) {
  const double x2 = 2.0 * x;
  double b2 = f[0];
  double b1 = x2 * f[0] + f[1];
  for (int i = 2; i < n; ++i) {
    const double b0 = x2 * b1 - b2 + f[i];
    b2 = b1;
    b1 = b0;
  }
  return x * b1 - b2 + 0.5 * f[n];
}

void a2isp(const float* a, float* isp, const float* old_isp, int M) {
  const int nc = M / 2;
  Scratch f1(nc + 1), f2(nc + 1);
  for (int i = 0; i < nc; ++i) {
    f1[i] = a[i] + a[M - i];
    f2[i] = a[i] - a[M - i];
  }
  f1[nc] = 2.0f * a[nc];
  for (int i = 2; i < nc; ++i) f2[i] += f2[i - 2];  // divides F2 by 1 - z^-2

  const int found = interlaced_roots(grid.data(), grid_intervals, {f1.data(), nc},
                                     {f2.data(), nc - 1}, isp, M - 1);
  isp[M - 1] = a[M];
  if (found < M - 1) std::copy_n(old_isp, M, isp);
}

}  // namespace quel
