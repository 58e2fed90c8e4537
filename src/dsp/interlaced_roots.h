#pragma once

#include <utility>

namespace quel {

/// A polynomial in x = cos w, given by its Chebyshev series.
struct CosineSeries {
  const float* f;  ///< [0..order]
  int order;
};

namespace detail {

// The root between xlow and xhigh, across which the sign of the series changes.
template <typename Value>
float refine_root(float xlow, double ylow, float xhigh, double yhigh, Value value,
                  CosineSeries series) {
  for (int i = 0; i < 4; ++i) {
    const float xmid = (xlow + xhigh) * 0.5f;
    const double ymid = value(xmid, series.f, series.order);
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

}  // namespace detail

/// Roots of two series in turn, by sign changes on a grid, four bisections and a linear
/// interpolation each. After a root the other series is searched from there on, within the same
/// grid interval first, since the roots of the sum and the difference polynomial of an LP filter
/// interlace. A zero on a grid point counts as a sign change.
///
/// grid       [0..intervals] cosines, decreasing
/// value      double(float x, const float* f, int order), the value of a series at x
/// now        searched first, `other` second
/// roots      [0..wanted-1] output, decreasing
///
/// Returns how many were found before the grid ended, at most `wanted`.
template <typename Value>
int interlaced_roots(const float* grid, int intervals, Value value, CosineSeries now,
                     CosineSeries other, float* roots, int wanted) {
  int found = 0;
  float xlow = grid[0];
  double ylow = value(xlow, now.f, now.order);
  for (int j = 0; found < wanted && j < intervals;) {
    ++j;
    const float xhigh = xlow;
    const double yhigh = ylow;
    xlow = grid[j];
    ylow = value(xlow, now.f, now.order);
    if (ylow * yhigh <= 0.0) {
      --j;
      xlow = detail::refine_root(xlow, ylow, xhigh, yhigh, value, now);
      roots[found++] = xlow;
      std::swap(now, other);
      ylow = value(xlow, now.f, now.order);
    }
  }
  return found;
}

}  // namespace quel
