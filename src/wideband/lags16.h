#pragma once

namespace quel {

/// Most lags that a closed-loop search tries, and that `best_lags` returns.
inline constexpr int most_lags16 = 20;

/// A lag of T0 + frac/3 samples; frac is -1, 0 or 1.
struct Lag16 {
  int T0;
  int frac;
};

/// The lags by which `pitchfr3` would go on, best first: every whole lag of a window with the
/// fraction that serves it best. The smaller lag and the lower fraction win ties.
///
/// exc, xn, h, t0_min, t0_max, i_subfr, L  as for `pitchfr3`; at most `most_lags16` whole lags
/// lags   [0..most-1] output
/// most   lags wanted, >= 1
///
/// Returns how many there are: `most`, or all of a smaller window.
int best_lags(const float* exc, const float* xn, const float* h, int t0_min, int t0_max,
              int i_subfr, int L, Lag16* lags, int most);

}  // namespace quel
