#pragma once

#include <array>
#include <cstdint>

#include "narrowband/six_pulses.h"

namespace quel::narrowband {

/// Searches of the algebraic codebooks that leave the pitch gain free: of a code vector counts what
/// remains of the target once both gains fit best, and not, as in the searches of effort 0, what
/// remains with the pitch gain that is best without a code.
///
/// With y1 the filtered adaptive vector and y2 the filtered code vector, that is what of y2 is at
/// right angles to y1. Energies and cross-correlations of pulses lose their part along y1.

/// What a search is given. Positions are in time order.
struct PulseTarget {
  const float* dn;   ///< [0..47] the target less y1 at its best gain, filtered backwards
  const float* dn1;  ///< [0..47] y1 filtered backwards
  float weight;      ///< 1 / |y1|^2; 0 where the pitch gain is at a limit, and is not free
  const float* h;    ///< [0..47] response that they were filtered backwards through
};

/// Correlations of the 48 pulses with each other, in the order of their tracks: place
/// 16 * track + j is position 3 * j + track.
using PulseCorrelations = std::array<float, 48 * 48>;

/// The codebook of ACB_15, every place of the three pulses, signs those of the target.
void search_three_pulses(const PulseTarget& target, std::int32_t* index);

/// The codebook of ACB_27: pulse by pulse, then moving one at a time for as long as that helps, and
/// `kicks` times again from where two pulses were forced to move.
void search_six_pulses(const PulseTarget& target, int kicks, PulseCorrelations& phi,
                       std::int32_t* index);

/// The codebooks of acb_2p10b and acb_3p10b, every word.
void search_opposite_pair(const PulseTarget& target, std::int32_t* index);
void search_sparse_triple(const PulseTarget& target, std::int32_t* index);

// The steps of search_six_pulses, which kernels compute. Vectors are in the order of the tracks.

/// phi[i][j] = correlation of the responses to pulses at places i and j.
///
/// h    [0..47] response
/// phi  [0..48*48-1] output
void correlate_pulses(const float* h, float* phi);

/// phi[i][j] -= weight * dn1[i] * dn1[j].
void free_pitch_gain(const float* dn1, float weight, float* phi);

/// The best place for a further pulse on a track.
///
/// place   [0..5] of the pulses that are there
/// sign    [0..5] theirs, +1 or -1, 0 of those that are not there
/// barred  [0..2] results that are not to be given; -1 bars nothing
/// merit   output: ps^2 / alp with it; -1 where no place has both above 0, and the result is 0
///
/// Returns j of the positive pulse at place 16 * track + j, or 16 + j of the negative one; of equal
/// ones the lowest.
int best_pulse(const SixPulseTarget& target, const int* place, const float* sign, int track,
               const int* barred, float* merit);

namespace plain {
/// The definitions.
void correlate_pulses(const float* h, float* phi);
void free_pitch_gain(const float* dn1, float weight, float* phi);
int best_pulse(const SixPulseTarget& target, const int* place, const float* sign, int track,
               const int* barred, float* merit);
}  // namespace plain

}  // namespace quel::narrowband
