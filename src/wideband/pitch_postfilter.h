#pragma once

#include <array>
#include <cstdint>

namespace quel::wideband {

/// Memory of the pitch postfilter, which a decoder has where it is asked to enhance.
struct PitchPostfilter {
  std::int32_t on = 0;            ///< 1: it runs. No bool: the decoder's memory has no padding
  std::array<float, 292> past{};  ///< synthesis before the subframe, not yet postfiltered
};

/// Strengthens the harmonics of voiced speech, in place: (s[n] + g s[n-lag]) / (1 + g), where g is
/// 0.15 times the pitch gain, at most 0.15, and 0 where the synthesis is little like itself a lag
/// ago. Leaves s as it is where the postfilter is off.
///
/// lag       1..292, samples
/// gain_pit  >= 0
/// s         [0..79] synthesis of a subframe, finite
void postfilter_pitch(PitchPostfilter& state, int lag, float gain_pit, float* s);

}  // namespace quel::wideband
