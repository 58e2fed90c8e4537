#pragma once

#include <cstdint>

#include "bitstream/mode.h"
#include "narrowband/conceal.h"
#include "narrowband/dec_swt.h"

namespace quel {

/// Makes up a lost frame of flavor 0 or 1 at once, 144 samples. Something must have been received.
///
/// Returns the subframes that ran away and were cleared.
int conceal_swt(NarrowbandConcealment& state, SwtDecoder& decoder, NarrowbandDecoderShared& shared,
                const Mode& mode, std::int16_t* synth);

/// To be called before a received frame is decoded or described: where frames were lost before it,
/// puts estimates into the memories that it builds upon. A second call for a frame does nothing.
///
/// prm  [0..20] the frame's parameter array
void meet_swt(NarrowbandConcealment& state, SwtDecoder& decoder, NarrowbandDecoderShared& shared,
              const std::int32_t* prm);

}  // namespace quel
