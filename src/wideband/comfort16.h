#pragma once

#include <cstdint>

#include "dsp/comfort_noise.h"
#include "wideband/dec_wb.h"

namespace quel {

/// Takes note of the frame that was decoded last, which was received.
///
/// pcm  [0..159] as the decoder gave it
void hear_wideband(ComfortNoise& noise, const WidebandDecoder& state, const std::int16_t* pcm);

/// A frame of what was heard between words, in place of one that was not sent. The excitation
/// history gets the noise, and the predictors what they would be after much of it, so that the next
/// frame sets in softly.
///
/// noise  has heard a frame
/// out    [0..159] 16-bit PCM at 16 kHz
///
/// Returns the subframes that ran away and were cleared.
int comfort_wb(WidebandDecoder& state, ComfortNoise& noise, std::int16_t* out);

}  // namespace quel
