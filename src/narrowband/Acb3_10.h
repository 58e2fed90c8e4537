#pragma once

#include <cstdint>

namespace quel {

/// Exhaustive search of the 5 kbit/s codebook of three pulses on even positions. Word of 10 bits:
/// bit 9 reverses every sign, bits 8..6 ka, 5..3 kb, 2..0 kc; the pulses stand at 6 * ka,
/// 6 * kb + 2 and 6 * kc + 4, positive where the position is a multiple of 4, else negative.
///
/// dn     [0..47] target filtered backwards through h; multiplied by the sign pattern on return
/// h      [0..47] impulse response; must not overlap dn
/// index  output, the word; valid whatever the input
void acb_3p10b(float* dn, const float* h, std::int32_t* index);

/// The codebook's signs, sign [0..47] output, and dn times them.
void fold_triple_signs(float* dn, float* sign);

/// The same from the pulses' correlations, signs folded into all of them:
///
/// rr_diag  [0..23] half energies, row-major [track / 2][j]
/// rr       [0..191] cross-correlations, row-major [track / 2][j][j], each track with the next
void acb_3p10b(const float* dn, const float* rr_diag, const float* rr, std::int32_t* index);

}  // namespace quel
