#pragma once

#include <cstdint>

#include "bitstream/mode.h"
#include "dsp/comfort_noise.h"
#include "narrowband/dec_5swt.h"
#include "narrowband/dec_swt.h"

namespace quel {

/// FiveKDecoder::bfi of a frame that was not sent.
inline constexpr std::int32_t bfi_not_sent = 3;

/// Take note of the frame that was decoded last, which was received.
///
/// pcm  [0..n-1] as the decoder gave it
void hear_narrowband(ComfortNoise& noise, const NarrowbandDecoderShared& shared,
                     const std::int16_t* pcm, int n);

/// A frame of 144 samples of what was heard between words, in place of one that was not sent. The
/// excitation history gets the noise, and the predictors what they would be after much of it, so
/// that the next frame sets in softly.
///
/// noise  has heard a frame
/// synth  [0..143]
///
/// Returns the subframes that ran away and were cleared.
int comfort_swt(SwtDecoder& state, NarrowbandDecoderShared& shared, ComfortNoise& noise,
                std::int16_t* synth);

/// The same of flavor 2, one frame behind: plays the frame in hand, which was not sent, and takes
/// the next one as decoder_5k does.
///
/// prm     [0..19]
/// synth   [0..239]
/// bfi_in  0, 1 or bfi_not_sent
int comfort_5k(FiveKDecoder& state, NarrowbandDecoderShared& shared, const Mode& mode,
               ComfortNoise& noise, const std::int32_t* prm, std::int16_t* synth,
               std::int32_t bfi_in);

}  // namespace quel
