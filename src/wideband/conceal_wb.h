#pragma once

#include <cstdint>

#include "wideband/conceal.h"
#include "wideband/dec_wb.h"

namespace quel {

/// Makes up a lost frame of flavor 3 at once, 160 samples. Something must have been received.
///
/// Returns the subframes that ran away and were cleared.
int conceal_wb(WidebandConcealment& state, WidebandDecoder& decoder, std::int16_t* out);

/// A frame that was not sent was played as noise. That ends a loss: the predictors are those of the
/// noise, nothing has to be estimated behind it, and another loss goes on from it.
void pass_noise16(WidebandConcealment& state, const WidebandDecoder& decoder);

/// To be called before a received frame is decoded or described: where frames were lost before it,
/// puts estimates into the memories that it builds upon. A second call for a frame does nothing.
///
/// prm  [0..22] the frame's parameter array
void meet_wb(WidebandConcealment& state, WidebandDecoder& decoder, const std::int32_t* prm);

}  // namespace quel
