#pragma once

#include <cstdint>

#include "wideband/conceal.h"
#include "wideband/dec_wb.h"

namespace quel {

/// Makes up a lost frame of flavor 3 at once, 160 samples. Something must have been received.
///
/// Returns the subframes that ran away and were cleared.
int conceal_wb(WidebandConcealment& state, WidebandDecoder& decoder, std::int16_t* out);

/// To be called before a received frame is decoded or described: where frames were lost before it,
/// puts estimates into the memories that it builds upon. A second call for a frame does nothing.
///
/// prm  [0..22] the frame's parameter array
void meet_wb(WidebandConcealment& state, WidebandDecoder& decoder, const std::int32_t* prm);

}  // namespace quel
