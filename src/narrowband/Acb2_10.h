#pragma once

#include <cstdint>

namespace quel {

/// Exhaustive search of the 5 kbit/s codebook of two pulses of opposite sign on adjacent tracks.
/// Word of 10 bits: bit 9 set where pulse A is the negative one, bit 8 the grid offset o, bits 7..4
/// ja, bits 3..0 jb; pulse A stands at 3 * ja + o, pulse B at 3 * jb + o + 1.
///
/// dn     [0..47] target filtered backwards through h
/// h      [0..47] impulse response
/// index  output, the word; valid whatever the input
void acb_2p10b(const float* dn, const float* h, std::int32_t* index);

/// The same from the pulses' correlations:
///
/// rr_diag  [0..47] half energies, row-major [track][j]
/// rr       [0..511] cross-correlations of tracks 0 and 1, then 1 and 2, each row-major [j][j]
void acb_2p10b(const float* dn, const float* rr_diag, const float* rr, std::int32_t* index);

}  // namespace quel
