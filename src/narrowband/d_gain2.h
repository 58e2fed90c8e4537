#pragma once

#include <array>

namespace quel {

/// Decoder memory of the joint gain quantiser; one per pair of narrowband decoders, which share it.
struct GainDequantizer {
  /// [0..3] 20*log10 of the last four code-gain corrections, dB, newest first. 0 at load; -14
  /// after init_d_gain2.
  std::array<float, 4> past_qua_en{};
  /// Last pitch gain, may exceed 1 inside a lost frame of bfi = 1. 0 at load and after
  /// init_d_gain2.
  float last_gain_pit = 0.0f;
  /// Last code gain. 0 at load and after init_d_gain2.
  float last_gain_code = 0.0f;
  /// Step of the pitch gain per subframe of a lost frame of bfi = 1, set in its first subframe.
  /// 0 at load; init_d_gain2 leaves it.
  float step = 0.0f;
};

void init_d_gain2(GainDequantizer& state);

/// Pitch gain of a row of the gain table; only the 7 low bits of the index count.
float pitch_gain(int index);

/// Forgets the last pitch and code gain, after which a lost frame starts from 0; the energy memory
/// goes on.
void clear_last_gains(GainDequantizer& state);

/// Decodes or conceals the two gains of a subframe.
///
/// index          row of the gain table; only the 7 low bits count. Not read with bfi = 2
/// code           [0..L-1] algebraic code vector
/// L              samples, > 0
/// gain_pit       output
/// gain_code      output
/// bfi            0  good frame
///                1  lost frame, index being that of the frame after it: the pitch gain steps
///                   towards it
///                2  (and any other value) lost frame without help: the pitch gain fades
/// i_subfr        sample offset of the subframe in its frame; 0 sets the step
/// fac_inter_var  part of the distance to the next frame's pitch gain that a step goes
///
/// With bfi = 1 a pitch gain above 1 is returned as 1 but goes on from where it is; with bfi = 2 it
/// is stored as 1.
void d_gain2(GainDequantizer& state, int index, const float* code, int L, float* gain_pit,
             float* gain_code, int bfi, int i_subfr, float fac_inter_var);

/// What an index stands for: pitch gain, and correction of the code gain in dB.
struct GainRow {
  float pitch_gain;
  float correction;
};
GainRow gain_row(int index);

/// The nearest correction, dB, within the range of the table.
float hold_correction(float energy);

}  // namespace quel
