#pragma once

namespace quel {

/// Open-loop lag of one section: the lag of the largest correlation, the higher lag on ties.
///
/// wsp      [-lag_max..L-1] weighted speech
/// L        samples, > 0
/// lag_max  >= lag_min
/// lag_min  >= 0
/// cor_max  output: the largest correlation divided by the norm of the delayed signal
int lagmax(const float* wsp, int L, int lag_max, int lag_min, float* cor_max);

/// Open-loop lag, 20..143 samples. Sections of shorter lags win with 85% of the correlation, so
/// that a multiple of the period is not taken for it.
///
/// wsp  [-143..L-1] weighted speech
/// L    samples, > 0
int pitch_ol(const float* wsp, int L);

}  // namespace quel
