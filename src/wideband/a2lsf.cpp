#include "wideband/a2lsf.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "dsp/elementary.h"
#include "dsp/interlaced_roots.h"
#include "dsp/scratch.h"

namespace quel {
namespace {

constexpr std::array<float, lsf_grid_points> search_grid() {
  constexpr double step = 0.03141593f;
  std::array<float, lsf_grid_points> grid{};
  grid.front() = 1.0f;
  for (std::size_t j = 1; j < grid.size() - 1; ++j) {
    grid[j] = static_cast<float>(cosine(static_cast<double>(j) * step));
  }
  grid.back() = -1.0f;
  return grid;
}

constexpr std::array<float, lsf_grid_points> grid = search_grid();

}  // namespace

void init_grid(float* points) {
  std::copy(grid.begin(), grid.end(), points);
}

double chebyshev(float x, const float* f, int n) {
  const double x2 = 2.0 * x;
  double b2 = 1.0;
  double b1 = x2 + f[1];
  for (int i = 2; i < n; ++i) {
    const double b0 = x2 * b1 - b2 + f[i];
    b2 = b1;
    b1 = b0;
  }
  return x * b1 - b2 + 0.5 * f[n];
}

void a2lsf(const float* a, float* lsp, const float* old_lsp, int m) {
  const int nc = m / 2;
  Scratch f1(nc + 1), f2(nc + 1);
  f1[0] = f2[0] = 1.0f;
  for (int i = 0; i < nc; ++i) {
    const double front = a[i + 1], back = a[m - i];
    f1[i + 1] = static_cast<float>(front + back - f1[i]);
    f2[i + 1] = static_cast<float>(front - back + f2[i]);
  }

  const int found =
      interlaced_roots(grid.data(), lsf_grid_points - 1, {f1.data(), nc}, {f2.data(), nc}, lsp, m);
  if (found < m) std::copy_n(old_lsp, m, lsp);
}

}  // namespace quel
