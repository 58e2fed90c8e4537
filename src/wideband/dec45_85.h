#pragma once

#include <cstdint>

namespace quel {

/// The ten pulses of an 80-sample subframe from their five track indices, as `ACELP_45_85` wrote
/// them. The second pulse of a track has the sign of the first, or the opposite one where it lies
/// before it.
///
/// indices  [0..4] tracks 0..4; only the lower 9 bits are read
/// code     [0..79] output, 0, 1, -1, 2 or -2 at each sample
void DEC_ACELP_45_85(const std::int32_t* indices, float* code);

}  // namespace quel
