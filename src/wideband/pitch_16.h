#pragma once

namespace quel {

/// Open-loop lag of the decimated weighted speech. Four sections of lags are searched and shorter
/// lags favoured, so that a multiple of the pitch period does not win by a little.
///
/// x      [-L_max..n-1] decimated weighted speech
/// L_min  shortest lag, decimated samples, >= 1
/// L_max  longest lag, >= 8 * L_min
/// n      samples correlated, >= 1
///
/// Returns a lag in L_min..L_max, decimated samples; L_max for silence.
int pitch_ol16(const float* x, int L_min, int L_max, int n);

/// Lag of the highest correlation, searched from L_max down to L_min; the larger of equals wins.
///
/// x        [-L_max..n-1]
/// cor_max  output: that correlation over the root of the delayed signal's energy (plus 0.01)
///
/// Returns the lag; L_max where no correlation is a number above -1e23.
int lag_max(const float* x, int n, int L_max, int L_min, float* cor_max);

}  // namespace quel
