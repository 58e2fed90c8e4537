#pragma once

#include <cstdint>

namespace quel {

/// Code vectors of the 8.5 and 6.5 kbit/s flavors from their track words (layout: `ACB_27`,
/// `ACB_15`), each pulse a copy of filt from its position to the end of the subframe.
///
/// index  [0..2] one word per track; bits above the field of 9 or 5 are ignored
/// filt   [0..47] what a pulse stands for
/// out    [0..47] output; must not overlap filt
void dec_ACB_27(const std::int32_t* index, const float* filt, float* out);
void dec_ACB_15(const std::int32_t* index, const float* filt, float* out);

}  // namespace quel
