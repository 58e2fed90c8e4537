#pragma once

namespace quel {

/// Convolution from zero state: y[n] = sum over i = 0..n of x[i] * h[n-i].
///
/// x  [0..L-1] input
/// h  [0..L-1] impulse response
/// y  [0..L-1] output; must be neither x nor h
/// L  samples, > 0
void convolve(const float* x, const float* h, float* y, int L);

/// The wideband coder's name for `convolve`.
void convolve16(const float* x, const float* h, float* y, int L);

/// Backward filtering of the target: y[n] = sum over k = 0..L-1-n of x[n+k] * h[k], the adjoint of
/// `convolve`. Shapes as there. `backfil2` serves the narrowband coder, `corr_xh` the wideband one.
void backfil2(const float* x, float* y, const float* h, int L);
void corr_xh(const float* x, float* y, const float* h, int L);

namespace plain {
/// The definitions of `convolve` and `backfil2`.
void convolve(const float* x, const float* h, float* y, int L);
void backfil2(const float* x, float* y, const float* h, int L);
}  // namespace plain

}  // namespace quel
