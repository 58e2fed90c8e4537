#pragma once

#include <array>
#include <cstddef>

#include "dsp/elementary.h"

namespace quel::narrowband {

/// Rows of the joint gain table t_qua_gain: pitch gain and code-gain correction.
inline constexpr int nb_qua_gain = 128;

/// Moving-average prediction of the code gain in dB, newest past value first.
inline constexpr std::array<float, 4> pred = {0.691f, 0.504f, 0.334f, 0.2f};

/// Predicted code gain: the gain at which the code vector has the energy per sample that a mean of
/// 34 dB and the last four corrections lead to expect.
///
/// past_qua_en  last four corrections, dB, newest first
/// code         [0..L-1] algebraic code vector
/// L            samples, > 0
float predict_code_gain(const std::array<float, 4>& past_qua_en, const float* code, int L);

/// Moves the memory on and puts `energy`, dB, in front.
void push_energy(std::array<float, 4>& past_qua_en, float energy);

/// 20*log10 of a code-gain correction > 0, dB.
constexpr float correction_energy(float gamma) {
  return static_cast<float>(20.0 * log_10(static_cast<double>(gamma)));
}

/// Whether the pitch gains, the rows' first column, rise strictly.
template <std::size_t n>
constexpr bool rows_rise(const float (&table)[n][2]) {
  for (std::size_t i = 1; i < n; ++i) {
    if (!(table[i][0] > table[i - 1][0])) return false;
  }
  return true;
}

}  // namespace quel::narrowband
