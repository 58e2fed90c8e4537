#pragma once

namespace quel {

/// Levinson-Durbin recursion (N. Levinson 1946, J. Durbin 1960): LP filter from autocorrelation.
///
/// a  [0..m] output, a[0] = 1
/// r  [0..m] autocorrelation, r[0] > 0
/// m  order, 1..16
///
/// Returns the final prediction error. Where the error falls to zero or below (a pure sinusoid, an
/// r that is no autocorrelation) it becomes 0.01 and the recursion goes on; the filter is then not
/// guaranteed to be stable, nor, for large r, to be finite. A white-noise floor in r prevents it.
float lev_dur(float* a, const float* r, int m);

}  // namespace quel
