#pragma once

#include "bitstream/mode.h"

namespace quel {

/// The shape of one pulse of the algebraic codebooks: the impulse response of
/// A(z/0.55)/A(z/0.7), repeated every T0 samples with falling gain where the lag is shorter than
/// the subframe (pitch sharpening by 0.8 in flavors 0 and 1, else 0.85).
///
/// mode  its `initFlavor` picks the sharpening
/// A     [0..10] LP filter of the subframe: the encoder's unquantised, the decoders' decoded one
/// T0    integer lag, >= 1; 48 and more sharpen nothing
/// F     [0..47] output
void find_F(const Mode& mode, const float* A, int T0, float* F);

/// The two steps of `find_F`, for who filters F along with something else. First the numerator, to
/// be filtered in place from silence by 1/`denominator` (syn_filt of order 10):
///
/// F            [0..47] output
/// denominator  [0..10] output
void start_F(const float* A, float* F, float* denominator);

/// Then the repetitions, in place.
void sharpen_F(const Mode& mode, int T0, float* F);

/// What a pulse stands for in this subframe, but for its repetitions, and in the next one: its
/// filter runs along with one of this subframe's.
struct Pulses {
  float* now;           ///< [0..47]
  float* next;          ///< [0..47]
  const float* A_next;  ///< [0..10], null behind the frame's last subframe
};

/// syn_filt of a decoder's subframe, order 10, 48 samples, with update, and along with it the
/// pulses of the next subframe.
void filter_with_pulses(const float* a, const float* x, float* y, float* mem, const Pulses& pulses);

/// Total excitation in place: exc[n] = gain_pit * exc[n] + gain_code * code[n], n = 0..L-1.
void find_exc(float* exc, const float* code, float gain_pit, float gain_code, int L);

}  // namespace quel
