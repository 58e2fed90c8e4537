#pragma once

namespace quel {

/// LP filter to immittance spectral pairs (Y. Bistritz and S. Peller, "Immittance spectral pairs
/// (ISP) for speech encoding", ICASSP 1993), by sign changes on a grid of 60 intervals of 3
/// degrees, four bisections and a linear interpolation.
///
/// a        [0..M] LP filter, a[0] = 1
/// isp      [0..M-1] output: M-1 cosines in decreasing order (roots of the sum and the difference
///          polynomial in turn), then a[M] itself
/// old_isp  [0..M-1] the previous frame's; copied whole to isp, last entry included, where the
///          search does not find all M-1 roots (an unstable or ill-conditioned filter)
/// M        order, even, 6..10 (below, the difference polynomial is too short for chebyshev2)
void a2isp(const float* a, float* isp, const float* old_isp, int M);

/// Value at the cosine x of the series f[0] T_n + f[1] T_{n-1} + ... + f[n]/2 of Chebyshev
/// polynomials (P. Kabal and R. P. Ramachandran, "The computation of line spectral frequencies
/// using Chebyshev polynomials", IEEE Trans. ASSP 34, 1986).
///
/// f  [0..n] coefficients
/// n  order, >= 2
double chebyshev2(float x, const float* f, int n);

}  // namespace quel
