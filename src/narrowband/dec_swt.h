#pragma once

#include <cstdint>

#include "bitstream/mode.h"
#include "narrowband/conceal.h"
#include "narrowband/decoder_state.h"
#include "narrowband/find_F.h"

namespace quel {

/// Decoder of flavors 0 and 1; one per stream, beside a NarrowbandDecoderShared.
struct SwtDecoder {
  std::int32_t last_mode = 0;  ///< codec mode of the last good frame; 1 after init
  std::int32_t old_pitch = 0;  ///< last lag in thirds of a sample; 180 (lag 60) after init
  SynthesisState synthesis;
};

/// Resets this decoder and what it shares, `seed` included. Memories of the other decoders are
/// their own init's business.
void init_dec_swt(SwtDecoder& state, NarrowbandDecoderShared& shared);

/// Decodes or conceals one frame of 144 samples.
///
/// mode   `initFlavor` and `fac_inter_var` are read
/// prm    [0..20] the frame's parameter array, prm[0] the codec mode (0 or 1)
/// synth  [0..143] 16-bit samples at 8 kHz
/// bfi    0 received; 1 lost, and prm holds the next received frame; 2 lost, prm is not looked at
///
/// watcher  told of every subframe, and may lower its pitch gain; may be null
///
/// Returns the subframes that ran away and were cleared.
int dec_swt(SwtDecoder& state, NarrowbandDecoderShared& shared, const Mode& mode,
            const std::int32_t* prm, std::int16_t* synth, int bfi,
            NarrowbandConcealment* watcher = nullptr);

/// What makes a subframe's sound of its excitation.
struct SwtSubframe {
  const float* A;     ///< [0..10]
  const float* code;  ///< [0..47]
  float gain_pit, gain_code;
  const Pulses& pulses;
  float fade_from = 1.0f, fade_to = 1.0f;  ///< of what enters the synthesis filter
};

/// The second half of a subframe: excitation, synthesis, high-pass, and the history moves on.
///
/// The adaptive codebook's vector stands in state.synthesis.exc().
///
/// synth  [0..47] output
///
/// Returns whether the result was sane; otherwise it is zeros, and the memories are cleared.
bool finish_subframe(SwtDecoder& state, NarrowbandDecoderShared& shared, const SwtSubframe& part,
                     float* synth);

}  // namespace quel
