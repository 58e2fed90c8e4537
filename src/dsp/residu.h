#pragma once

namespace quel {

/// LP residual, FIR filtering by A(z): y[n] = sum over i = 0..m of a[i] * x[n-i].
///
/// a   [0..m] LP filter, a[0] = 1
/// m   order, 1..16
/// x   [-m..lg-1] input with m past samples
/// y   [0..lg-1] output; must not overlap x
/// lg  samples, > 0
void residu(const float* a, int m, const float* x, float* y, int lg);

namespace plain {
/// The definition of `residu`.
void residu(const float* a, int m, const float* x, float* y, int lg);
}  // namespace plain

/// The wideband coder's name for `residu`.
void residu16(const float* a, int m, const float* x, float* y, int lg);

}  // namespace quel
