#pragma once

namespace quel {

/// Pulses of the codebook of ACB_27, and places that may be barred to one of them.
inline constexpr int six_pulse_count = 6;
inline constexpr int max_barred = 3;

/// What a search of six pulses maximises: ps^2 / alp. Vectors are in the order of the tracks, place
/// 16 * track + j being position 3 * j + track.
struct SixPulseTarget {
  const float* dn;      ///< [0..47] target filtered backwards
  const float* phi;     ///< [0..48*48-1] correlations of the pulses with each other, symmetric
  const float* energy;  ///< [0..47] diagonal of phi
  float ps;             ///< <dn, pulses> of those that are placed
  float alp;            ///< their energy
};

}  // namespace quel
