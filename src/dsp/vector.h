#pragma once

namespace quel {

/// x [0..n-1] = 0.
void set_zero(float* x, int n);

/// y [0..n-1] = x [0..n-1]; the arrays must not overlap.
void mvr2r(const float* x, float* y, int n);

/// Target update: x2[n] = x[n] - gain * y[n].
///
/// x, y  [0..L-1] target and filtered contribution
/// x2    [0..L-1] output; may be x or y
void updt_tar(const float* x, float* x2, const float* y, float gain, int L);

}  // namespace quel
