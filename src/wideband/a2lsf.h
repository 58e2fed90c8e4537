#pragma once

namespace quel {

/// Points of the root-search grid, 0..100.
inline constexpr int lsf_grid_points = 101;

/// LP filter to line spectral pairs, by sign changes on a grid of 100 intervals of pi/100, exactly
/// four bisections and a linear interpolation (P. Kabal and R. P. Ramachandran, "The computation
/// of line spectral frequencies using Chebyshev polynomials", IEEE Trans. ASSP 34, 1986).
///
/// a        [0..m] LP filter, a[0] = 1
/// lsp      [0..m-1] output: cosines in decreasing order, roots of the sum and the difference
///          polynomial in turn
/// old_lsp  [0..m-1] the previous frame's; copied whole to lsp where the search does not find all
///          m roots (an unstable or ill-conditioned filter). May not overlap lsp.
/// m        order, even, 4..16
void a2lsf(const float* a, float* lsp, const float* old_lsp, int m);

/// Value at the cosine x of the series T_n + f[1] T_{n-1} + ... + f[n]/2 of Chebyshev polynomials.
///
/// f  [0..n] coefficients; f[0] is taken as 1 and not read
/// n  order, >= 2
double chebyshev(float x, const float* f, int n);

/// Fills the search grid: 1, cos(j pi/100), -1.
///
/// points  [0..lsf_grid_points-1] output, decreasing
void init_grid(float* points);

}  // namespace quel
