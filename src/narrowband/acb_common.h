#pragma once

namespace quel::narrowband {

/// What the narrowband algebraic codebooks share. A subframe has 48 samples; a track is the
/// positions first, first + step, ... below 48, so 48 / step of them, and is named by its first
/// position. All sums are single precision.
inline constexpr int acb_len = 48;

/// y[n] += sign * filt[n - position] for n = position..47.
///
/// y         [0..47]
/// filt      [0..47]; must not overlap y
/// position  0..47
/// sign      +1 or -1
void add_pulse(float* y, const float* filt, int position, float sign);

/// out [0..47] = the pulses one after the other: out[n] += sign[k] * filt[n - position[k]].
///
/// position, sign  [0..count-1] 0..47; 1 or -1
/// count           1..6
/// filt            [0..47]
void place_pulses(const int* position, const float* sign, int count, const float* filt, float* out);

namespace plain {
/// The definition of `place_pulses`.
void place_pulses(const int* position, const float* sign, int count, const float* filt, float* out);
}  // namespace plain

/// out[j] = half the energy of h from a pulse at p = track + step * j to the end of the subframe,
/// 0.5 * (h[0]^2 + ... + h[47-p]^2). Half, so that the energy of two pulses is the sum of two
/// halves and one cross-correlation.
///
/// h    [0..47] impulse response
/// out  [0..48/step-1]
void half_energies(const float* h, int track, int step, float* out);

/// Cross-correlations of h at the positions of two tracks, px = tx + step * jx and
/// py = ty + step * jy: rr[jx][jy] = sum over n = max(px, py)..47 of h[n-px] * h[n-py].
///
/// h   [0..47] impulse response
/// rr  [0..(48/step)^2-1] row-major [jx][jy]
void cross_block(const float* h, int tx, int ty, int step, float* rr);

/// Folds the pulse signs into a block: rr[jx][jy] *= sign[px] * sign[py].
///
/// sign  [0..47] +1 or -1
void fold_signs(float* rr, int tx, int ty, int step, const float* sign);

/// `half_energies` of the tracks 0, apart, 2 * apart, ... below `step`, out [0..48/step-1] of the
/// first and so on: sums in rising n, so that one pass serves all.
void half_energies_of_all(const float* h, int apart, int step, float* out);

/// `cross_block` of the first `blocks` of three tracks, each with the next one in their cycle:
/// 0, 1, 2 with step 3 and 0, 2, 4 with step 6; signs folded in where there are any.
///
/// sign  [0..47] or null
/// rr    [0..blocks*(48/step)^2-1]
void cross_blocks(const float* h, int step, int blocks, const float* sign, float* rr);

}  // namespace quel::narrowband
