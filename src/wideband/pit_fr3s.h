#pragma once

#include <array>

namespace quel {

/// Closed-loop lag of the adaptive codebook at one-third-sample resolution.
///
/// exc            [-(t0_max+4)..L-1-(t0_min-4)] the past excitation and, where a lag is shorter
///                than the subframe, the start of the current one: the caller puts the residual
///                there
/// xn             [0..L-1] target
/// h              [0..L-1] impulse response of the weighted synthesis filter, h[0] = 1
/// t0_min, t0_max lags searched, samples, 5 <= t0_min <= t0_max
/// frac           output: -1, 0 or 1 thirds
/// i_subfr        0 in the first subframe, where lags from 159 on are whole
/// L              samples of the subframe, 41..80
///
/// Returns the whole part, t0_min-1 (then frac = 1) .. t0_max+1 (then frac = -1). The smallest lag
/// and the lowest fraction win ties.
int pitchfr3(const float* exc, const float* xn, const float* h, int t0_min, int t0_max, int* frac,
             int i_subfr, int L);

namespace wideband {

/// Correlation interpolation, factor 3, four taps a side.
extern const std::array<float, 13> inter3_1;

/// Correlation of the target with the filtered past excitation over the root of that excitation's
/// energy, for lags t_min-4..t_max+4: interpolation wants four neighbours on each side.
///
/// exc, xn, h, L  as for `pitchfr3`; h counts as its first 40 taps and h[0] as 1
/// corr           [0..t_max-t_min+8] output: corr[i] belongs to lag t_min - 4 + i
void norm_corr(const float* exc, const float* xn, const float* h, int t_min, int t_max, float* corr,
               int L);

namespace plain {
/// The definition of `norm_corr`.
void norm_corr(const float* exc, const float* xn, const float* h, int t_min, int t_max, float* corr,
               int L);
}  // namespace plain

}  // namespace wideband

/// The correlation at a fraction of a lag.
///
/// c     [-4..4] correlations around the lag; [-3..4] where frac >= 0, [-4..3] where frac < 0
/// frac  -2..2 thirds
float interpolation(const float* c, int frac);

}  // namespace quel
