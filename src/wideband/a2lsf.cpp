#include "wideband/a2lsf.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "dsp/elementary.h"
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

// The root of f between xlow and xhigh, across which its sign changes.
float refine(float xlow, double ylow, float xhigh, double yhigh, const float* f, int n) {
  for (int i = 0; i < 4; ++i) {
    const float xmid = (xlow + xhigh) * 0.5f;
    const double ymid = chebyshev(xmid, f, n);
    if (ylow * ymid <= 0.0) {
      xhigh = xmid;
      yhigh = ymid;
    } else {
      xlow = xmid;
      ylow = ymid;
    }
  }
  // Zero at both ends: any point between is as good a root, and 0/0 is none.
  if (yhigh == ylow) return xlow;
  const double width = static_cast<double>(xhigh) - xlow;
  return static_cast<float>(xlow - ylow * width / (yhigh - ylow));
}

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

  const float* f = f1.data();
  const float* other = f2.data();
  int found = 0;
  float xlow = grid[0];
  double ylow = chebyshev(xlow, f, nc);
  for (std::size_t j = 0; found < m && j < grid.size() - 1;) {
    ++j;
    const float xhigh = xlow;
    const double yhigh = ylow;
    xlow = grid[j];
    ylow = chebyshev(xlow, f, nc);
    if (ylow * yhigh <= 0.0) {
      --j;  // the other polynomial's next root may lie in this same interval
      xlow = refine(xlow, ylow, xhigh, yhigh, f, nc);
      lsp[found++] = xlow;
      std::swap(f, other);
      ylow = chebyshev(xlow, f, nc);
    }
  }
  if (found < m) std::copy_n(old_lsp, m, lsp);
}

}  // namespace quel
