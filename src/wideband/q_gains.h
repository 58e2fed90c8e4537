#pragma once

#include <array>

namespace quel {

/// Gain that brings y nearest to x, sum(x y) / (0.01 + sum(y^2)); not bounded.
///
/// x, y  [0..L-1] target and filtered excitation
double get_gain(const float* x, const float* y, int L);

/// Quantises a pitch gain to the nearest of 16 values, the lower one on a tie; one that is not a
/// number gets index 0.
///
/// gain  replaced by its quantised value
///
/// Returns the index, 0..15.
int q_gain_pitch(float* gain);

/// Encoder memory of the code-gain quantiser; one per stream. No init routine resets it.
struct CodeGainQuantizer {
  /// [0..1] last two corrections, dB, newest first.
  std::array<float, 2> past_qua_en{-14.0f, -14.0f};
};

/// Quantises a code gain as one of 32 corrections of the gain that the past corrections and the
/// code's energy predict; the lower index on a tie, index 0 for one that is not a number.
///
/// code  [0..L-1] unfiltered code vector
/// gain  replaced by its quantised value
///
/// Returns the index, 0..31.
int q_gain_code(CodeGainQuantizer& state, const float* code, int L, float* gain);

/// Memory of `q_gain_test`.
struct GainTest {
  /// [0..1] last two corrections, dB, newest first.
  std::array<float, 2> past_qua_en{-14.0f, -14.0f};
};

/// The correction in dB that a code gain would need without quantisation; for analysis, the coder
/// does not call it.
///
/// code  [0..L-1] unfiltered code vector
/// gain  > 0 (otherwise the results, and the memory, are not finite)
/// en    output: energy of the scaled code vector per sample, dB
double q_gain_test(GainTest& state, const float* code, int L, float gain, float* en);

}  // namespace quel
