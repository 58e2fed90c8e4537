#pragma once

#include <array>

namespace quel {

/// Decoder memory of the wideband gains; one per stream. No init routine resets it.
struct GainDequantizer16 {
  /// [0..1] last two code-gain corrections, dB, newest first.
  std::array<float, 2> past_qua_en{-14.0f, -14.0f};
  float past_gain_pit = 0.0f;   ///< last pitch gain, at most 1
  float past_gain_code = 0.0f;  ///< last code gain
};

/// Pitch gain of a received subframe, or 0.95 times the last one for a lost one. The result is not
/// limited; what is remembered of it is, to 1.
///
/// index  0..15; only the lower 4 bits are read
/// bfi    nonzero where the frame is lost
double d_gain_pitch(GainDequantizer16& state, int index, int bfi);

/// Code gain of a received subframe, or 0.8 times the last one for a lost one, when the predictor
/// memory moves 4 dB below the average of its two entries, down to -14 dB.
///
/// index  0..31; only the lower 5 bits are read
/// code   [0..L-1] unfiltered code vector; not read where the frame is lost
/// gain   output
/// bfi    nonzero where the frame is lost
void d_gain_code(GainDequantizer16& state, int index, const float* code, int L, float* gain,
                 int bfi);

}  // namespace quel
