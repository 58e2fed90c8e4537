#pragma once

#include <array>
#include <cstdint>

namespace quel {

/// Encoder memory of the joint gain quantiser; one per encoder.
struct GainQuantizer {
  /// [0..3] 20*log10 of the last four code-gain corrections, dB, newest first. 0 at load; -14
  /// after init_q_gain2, so that the first predictions start low.
  std::array<float, 4> past_qua_en{};
};

void init_q_gain2(GainQuantizer& state);

/// Quantises pitch and code gain jointly in 7 bits: the row, among the 64 whose pitch gains
/// surround the unquantised one, with the least error energy.
///
/// code       [0..L-1] algebraic code vector
/// L          samples, > 0
/// gain_pit   in: unquantised pitch gain; out: quantised
/// gain_code  output: quantised
/// g_coeff    [0..4] terms of the error energy, from corr_xy1 and corr_xy2
/// flag       1: the frame's frequencies are crowded, and the 26 rows with the highest pitch gains
///            are not used, lest an error at the decoder build up; any other value: all rows
///
/// Returns the index, 0..127, or 0..101 with flag = 1.
std::int32_t q_gain2(GainQuantizer& state, const float* code, int L, float* gain_pit,
                     float* gain_code, const float* g_coeff, int flag);

}  // namespace quel
