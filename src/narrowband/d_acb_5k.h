#pragma once

#include <cstdint>

namespace quel {

/// Code vectors of the 5 kbit/s flavor from their word (layout: `acb_2p10b`, `acb_3p10b`), each
/// pulse a copy of filt from its position to the end of the subframe.
///
/// index  the word; bits above the ten are ignored
/// filt   [0..47] what a pulse stands for
/// out    [0..47] output; must not overlap filt
void dec_acb_2p10b(std::int32_t index, const float* filt, float* out);
void dec_acb_3p10b(std::int32_t index, const float* filt, float* out);

}  // namespace quel
