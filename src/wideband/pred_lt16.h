#pragma once

#include <array>

namespace quel {

namespace wideband {

/// Excitation interpolation, factor 3, ten taps a side.
extern const std::array<float, 31> inter3_2;

}  // namespace wideband

/// Past samples that an excitation buffer holds for `pred_lt16`, and the longest lag they serve.
/// The encoder's lags end at 282 - 1/3; a decoder's lag creeps up through losses and is held here.
inline constexpr int exc16_history = 301;
inline constexpr int exc16_max_lag = 292;

/// Adaptive-codebook excitation: the past excitation delayed by T0 + frac/3 samples. Samples are
/// produced in order, and a lag shorter than the subframe re-reads those just written: that is the
/// periodic extension.
///
/// exc   [-(T0+10)..L-1] excitation at the subframe's start, with history (one sample less for
///       frac <= 0); [0..L-1] is written
/// T0    whole lag, samples, 11..exc16_max_lag (T0 + frac/3 >= 11: with less, samples not yet
///       written would be read)
/// frac  -1, 0 or 1 thirds; 0 with exc16_max_lag
/// L     samples, > 0
void pred_lt16(float* exc, int T0, int frac, int L);

/// Pitch sharpening in place: x[i] += gain * x[i-T0] for i = T0..L-1 in rising order, so that a lag
/// below L/2 sharpens repeatedly.
///
/// x   [0..L-1]
/// T0  whole lag, samples; x stays as it is where T0 < 1 or T0 >= L
void pit_shrp(float* x, int T0, float gain, int L);

}  // namespace quel
