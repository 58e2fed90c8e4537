#pragma once

namespace quel {

/// Immittance spectral pairs to LP filter, the inverse of `a2isp`.
///
/// isp  [0..M-1] M-1 cosines in -1..1, decreasing, then the last LP coefficient
/// a    [0..M] output, a[0] = 1
/// M    order, even, <= 10
void isp2a(const float* isp, float* a, int M);

/// Product of the second-order factors 1 - 2 q z^-1 + z^-2 over q = isp[0], isp[2], ...; the first
/// n+1 coefficients, the rest being their mirror image.
///
/// isp  [0..2n-2] every second entry is read
/// f    [0..n] output
/// n    factors, >= 1
void get_isppol(const float* isp, float* f, int n);

}  // namespace quel
