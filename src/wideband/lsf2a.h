#pragma once

namespace quel {

/// Line spectral pairs to LP filter, the inverse of `a2lsf`.
///
/// lsp  [0..m-1] cosines in -1..1, decreasing (a stable filter); any other order gives a filter
///      that is not stable
/// a    [0..m] output, a[0] = 1
/// m    order, even, 2..16
void lsf2a(const float* lsp, float* a, int m);

/// Product of the second-order factors 1 - 2 q z^-1 + z^-2 over q = lsp[0], lsp[2], ...; the first
/// n+1 coefficients, the rest being their mirror image.
///
/// lsp  [0..2n-2] every second entry is read
/// f    [0..n] output
/// n    factors, >= 1
void get_lsfpol(const float* lsp, float* f, int n);

/// The two LP filters of a frame: subframe 1 from the mean of old and new cosines, subframe 2 from
/// the new ones.
///
/// lsp_old, lsp_new  [0..m-1] previous and this frame's line spectral pairs
/// Az                [0..2m+1] output, two blocks of m+1
/// m                 order, even, 2..16
void int_lpc(const float* lsp_old, const float* lsp_new, float* Az, int m);

namespace wideband::plain {
/// The definition of `int_lpc`.
void int_lpc(const float* lsp_old, const float* lsp_new, float* Az, int m);
}  // namespace wideband::plain

}  // namespace quel
