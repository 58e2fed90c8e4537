#pragma once

namespace quel {

/// A polynomial in x = cos w, given by its Chebyshev series.
struct CosineSeries {
  const float* f;  ///< [0..order]
  int order;
};

/// y[i] = value of a series at the cosine x[i]: `chebyshev2`, many at a time.
///
/// x, y  [0..count-1]
void series_values(const float* x, int count, CosineSeries series, double* y);

/// Most intervals of `interlaced_roots`.
inline constexpr int most_intervals = 100;

/// Roots of two series in turn, by sign changes on a grid, four bisections and a linear
/// interpolation each. After a root the other series is searched from there on, within the same
/// grid interval first, since the roots of the sum and the difference polynomial of an LP filter
/// interlace. A zero on a grid point counts as a sign change.
///
/// grid       [0..intervals] cosines, decreasing
/// intervals  1..most_intervals
/// first      searched first, `second` next
/// roots      [0..wanted-1] output, decreasing
///
/// Returns how many were found before the grid ended, at most `wanted`.
int interlaced_roots(const float* grid, int intervals, CosineSeries first, CosineSeries second,
                     float* roots, int wanted);

}  // namespace quel
