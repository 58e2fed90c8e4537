#pragma once

#include <cstdint>

namespace quel {
struct AcelpWork;
}

namespace quel::wideband {

/// What a search for ten pulses compares, everything by place: sample 5 p + t of the subframe is
/// place 16 t + p, so that the places of a track lie side by side.
///
/// A code whose filtered vector is y has ps = <target, y>, en = <y, y> and ws = <v, y>, where v is
/// the filtered adaptive vector at length 1 and the target is orthogonal to it. With both gains
/// free, the code with the largest ps^2 / (en - ws^2), ps > 0, leaves the least of the target.
struct PulseQuestion {
  float dn[80];       ///< correlation of the target with the response to a pulse at each place
  float wn[80];       ///< and of v
  float sign[80];     ///< 1 or -1, of a pulse when it is first placed
  int candidate[40];  ///< [8 t + k] places, rising, that the first pulse of a pair tries
  int first[5];       ///< place of each track where a rotation may begin
  int rotations;      ///< starting rotations to try, 1..5
};

/// Pulses k and k + 5 are on track k; of two at one place the signs agree.
struct Pulses {
  int place[10];
  float sign[10];  ///< 1 or -1
};

/// phi [80 p + q], the correlations of the responses to pulses at two places, of a response
/// h [0..79]. In float: each sum runs from the end of the subframe.
void response_matrix(const float* h, float* phi);

/// Places pair after pair of pulses as `ACELP_45_85` does, from one rotation of the tracks after
/// the other, and lets each result descend: a pulse moves to that place and sign of its track which
/// serve best, one pulse after the other, until none moves or each had three turns. In float
/// throughout; the first of equals wins. Gives valid pulses for any numbers.
void find_pulses(const PulseQuestion& question, const float* phi, Pulses& pulses);

namespace plain {
/// The definitions.
void response_matrix(const float* h, float* phi);
void find_pulses(const PulseQuestion& question, const float* phi, Pulses& pulses);
}  // namespace plain

/// A question about a subframe, rotations apart. Signs and candidates are those of
/// `ACELP_45_85`.
///
/// work  rewritten
/// dn    [0..79] correlation of the target with the response to a pulse at each sample
/// wn    [0..79] and of v
/// cn    [0..79] residual of the long-term prediction
void ask_for_pulses(AcelpWork& work, const float* dn, const float* wn, const float* cn,
                    PulseQuestion& question);

/// The code [0..79], and y [0..79] what a filter with the response h [0..79] makes of it.
void build_code(const Pulses& pulses, const float* h, float* code, float* y);

/// Track words [0..4] of the pulses, as `DEC_ACELP_45_85` reads them.
void pulse_words(const Pulses& pulses, std::int32_t* words);

}  // namespace quel::wideband
