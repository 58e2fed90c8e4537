#pragma once

#include <cstdint>

namespace quel {

/// Algebraic codebook searches of the 8.5 and 6.5 kbit/s flavors (J.-P. Adoul, P. Mabilleau,
/// M. Delprat and S. Morissette, "Fast CELP coding based on algebraic codes", ICASSP 1987): signed
/// unit pulses on three interleaved tracks, track t holding the positions t, t + 3, ..., t + 45.
///
/// ACB_27 places two pulses per track. Words of 9 bits: bit 8 the sign of the first pulse (1 is
/// negative), bits 7..4 its position index p / 3, bits 3..0 that of the second pulse, whose sign is
/// the first's where its index is not below the first's, and opposite where it is.
///
/// dn     [0..47] target filtered backwards through h; multiplied by the signs on return
/// res    [0..47] the target in the excitation domain, which has a say in the signs; overwritten
/// h      [0..47] impulse response through which dn was filtered; overlaps none of the others
/// index  [0..2] output, one word per track
///
/// Silence gives the words 0, 0, 0; whatever the input, non-finite values included, the words are
/// valid.
void ACB_27(float* dn, float* res, const float* h, std::int32_t* index);

/// ACB_15 places one pulse per track. Words of 5 bits: bit 4 the sign (1 is negative), bits 3..0
/// the position index. Arguments as above, except that the content of work [0..47] is not read.
void ACB_15(float* dn, float* work, const float* h, std::int32_t* index);

namespace narrowband {

/// What each pulse of a track would add to half the energy of a filtered vector y: at
/// p = track + 3 * j, out[j] = sign[p] * (sum over k = 0..47-p of h[k] * y[p+k]) + rr_diag[j].
///
/// h        [0..47] impulse response
/// y        [0..47] filtered vector of the pulses already placed
/// track    0..2
/// sign     [0..47] +1 or -1
/// rr_diag  [0..47] row-major [track][j], half the energy of each pulse alone
/// out      [0..15]
void cor_h_vec(const float* h, const float* y, int track, const float* sign, const float* rr_diag,
               float* out);

/// Finds the pair of pulses, one on each of two tracks, that makes ps^2 / alp largest. Of equal
/// pairs the first stays (lower ix, then lower iy); where no pair has a merit at all (zero or
/// non-finite input) the result is the first pair and alp is 1.
///
/// tx, ty  tracks of the pair, 0..2; ty = (tx + 1) mod 3
/// ps      correlation of the pulses already placed; with the pair's added on return
/// alp     half the energy of the same when filtered; the pair included on return
/// ix, iy  output, positions on tx and ty
/// dn      [0..47] target filtered backwards, signs folded in
/// sel     [0..47] negative where a position is a candidate for ix
/// rr_x    [0..15] what each position of tx adds to alp (a row of rr_diag or a cor_h_vec)
/// rr_y    [0..15] the same of ty
/// rr      [0..767] row-major [track][jx][jy]: cross-correlations with signs folded in, block t
///         between track t and track (t + 1) mod 3
void search_ixiy(int tx, int ty, float* ps, float* alp, int* ix, int* iy, const float* dn,
                 const float* sel, const float* rr_x, const float* rr_y, const float* rr);

/// The same for the 5 kbit/s codebook of three pulses: tracks 0, 2 and 4 of 8 positions in steps of
/// 6, every position a candidate.
///
/// tx, ty      0, 2 or 4; ty follows tx in that cycle
/// rr_x, rr_y  [0..7]
/// rr          [0..191] row-major [tx / 2][jx][jy]
void search_ixiy(int tx, int ty, float* ps, float* alp, int* ix, int* iy, const float* dn,
                 const float* rr_x, const float* rr_y, const float* rr);

}  // namespace narrowband
}  // namespace quel
