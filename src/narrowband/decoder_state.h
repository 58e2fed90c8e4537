#pragma once

#include <array>
#include <cstdint>

#include "narrowband/d_gain2.h"
#include "narrowband/d_isp_5.h"
#include "narrowband/find_F.h"
#include "narrowband/postproc.h"

namespace quel {

/// What the two narrowband decoders of a process, or of a stream, share.
struct NarrowbandDecoderShared {
  IsfDequantizer isf;
  GainDequantizer gains;
  std::int16_t seed = 0;    ///< of random_func; 21845 after init_shared
  bool gBigEndian = false;  ///< the driver has swapped the bytes of every parameter word
};

/// Resets all of it but the byte order, which is the driver's.
void init_shared(NarrowbandDecoderShared& shared);

/// Synthesis side of either decoder, 8 kHz, PCM scale.
struct SynthesisState {
  static constexpr int exc_past = 154;  ///< the largest lag and the reach of its interpolation
  /// Total excitation: [0..153] past, [154..201] the subframe in work. 0 at load and after init,
  /// as all below but isfold.
  std::array<float, exc_past + 48> old_exc{};
  std::array<float, 10> isfold{};       ///< ISPs of the previous frame; isf_ini after init
  std::array<float, 10> mem_syn{};      ///< output synthesis filter
  std::array<float, 2> xmem{}, ymem{};  ///< output high-pass: x[n-1], x[n-2]; y[n-1], y[n-2]
  float gain_har = 0.0f;                ///< smoothed attenuation of the innovation, 0..0.4

  float* exc() { return old_exc.data() + exc_past; }
};

void init_synthesis(SynthesisState& state);

/// The subframe's excitations: the total one in place, as find_exc has it, and what `enhance` makes
/// of it. Returns whether the total one is sane.
///
/// exc       [0..47] adaptive codebook in, total excitation out
/// code      [0..47]
/// enhanced  [0..47] output
bool mix_excitation(SynthesisState& state, float* exc, const float* code, float gain_pit,
                    float gain_code, float* enhanced);

namespace plain {
/// The definition of `mix_excitation`.
bool mix_excitation(SynthesisState& state, float* exc, const float* code, float gain_pit,
                    float gain_code, float* enhanced);
}  // namespace plain

/// Excitation of the synthesis filter: exc - gain_code * gain_har * code. Strongly voiced
/// subframes get less innovation; the stored excitation keeps all of it.
///
/// exc, code  [0..47] total excitation and code vector
/// out        [0..47]
void enhance(SynthesisState& state, const float* exc, const float* code, float gain_pit,
             float gain_code, float* out);

/// Ends a subframe: moves the excitation history on by 48.
void shift_excitation(SynthesisState& state);

/// Clears what a growing adaptive codebook or an unstable filter may have filled with absurd
/// values, so that the next subframes decode as from silence. Predictors, lags, seeds and the
/// codebook switch go on.
void clear_absurd(SynthesisState& state, NarrowbandDecoderShared& shared);

/// The output side of a subframe whose synthesis is heard as it is: synthesis, `is_sane` and
/// `high_pass`, and along with them the pulses of the next subframe.
///
/// A         [0..10] LP filter of the subframe
/// enhanced  [0..47] excitation
/// synth     [0..47] output
///
/// Returns false where the synthesis is not sane; what is in `synth` and the memories is then to be
/// cleared.
bool synthesize(SynthesisState& state, const float* A, const float* enhanced, float* synth,
                const Pulses& pulses);

namespace plain {
/// The definition of `synthesize`.
bool synthesize(SynthesisState& state, const float* A, const float* enhanced, float* synth,
                const Pulses& pulses);
}  // namespace plain

/// The output side where the synthesis is postfiltered: `agc` in place against `reference`, by 0.9,
/// `is_sane` and `high_pass`. Returns false where the output is not sane; what is in `synth` and
/// the memories is then to be cleared.
///
/// reference, synth  [0..47]
bool level_output(SynthesisState& state, GainControl& control, const float* reference,
                  float* synth);

namespace plain {
/// The definition of `level_output`.
bool level_output(SynthesisState& state, GainControl& control, const float* reference,
                  float* synth);
}  // namespace plain

/// The output high-pass, in place. It runs by subframes, so that what an absurd one leaves behind
/// can be cleared before the next.
///
/// synth  [0..n-1] synthesis in, output out
void high_pass(SynthesisState& state, float* synth, int n);

}  // namespace quel
