#pragma once

#include <cstdint>

#include "bitstream/mode.h"
#include "narrowband/conceal.h"
#include "narrowband/dec_5swt.h"

namespace quel {

/// Makes up a lost frame of flavor 2, 240 samples. Something must have been received. The frame
/// behind it is at hand unless it is lost too, and then the sound is led to it, and its memories
/// are estimated.
///
/// next  [0..19] the frame behind this one; null where that is lost
///
/// Returns the subframes that ran away and were cleared.
int conceal_5k(NarrowbandConcealment& state, FiveKDecoder& decoder, NarrowbandDecoderShared& shared,
               const Mode& mode, const std::int32_t* next, std::int16_t* synth);

/// What to multiply a received subframe's excitation with before it is heard: below 1 only in the
/// frame right behind a loss, where its filter is far louder than the one before the loss.
///
/// A  [0..10]
float filter_part(const NarrowbandConcealment& state, const float* A);

/// ISPs of a frame right behind a loss, further apart than decoded: what was estimated for them may
/// have brought two so close that they resonate.
///
/// isp  [0..9] output
void spread_isp(const IsfDequantizer& isf, float* isp);

}  // namespace quel
