#pragma once

#include <array>
#include <cstdint>

#include "narrowband/postproc.h"

namespace quel {

/// Memory of the postfilter that a decoder of flavor 2 takes in place of the designed one where it
/// is asked to enhance. Zeros at load and after its reset, but the gain.
struct EnhancedPostfilter {
  static constexpr int past = 146;  ///< the longest lag, and what is tried around it

  std::int32_t on = 0;                 ///< 1: it runs. No bool: the decoder's memory has no padding
  std::array<float, 10> mem_plain{};   ///< last outputs of the plain synthesis
  std::array<float, past> residual{};  ///< of the plain synthesis through A(z/0.70)
  std::array<float, 10> mem_formant{};
  float last = 0.0f;  ///< input of the tilt filter
  GainControl gain_control;
};

/// Leaves it on or off.
void init_enhanced_postfilter(EnhancedPostfilter& state);

/// Long-term and formant postfilter, after J.-H. Chen and A. Gersho, "Adaptive postfiltering for
/// quality enhancement of coded speech", IEEE Trans. SAP 3(1), 1995: the synthesis through
/// A(z/0.70), harmonics strengthened where it is voiced, 1/A(z/0.60), and the tilt of this taken
/// back, at the level of the reference.
///
/// A          [0..10] LP filter of the subframe
/// T0         lag, samples
/// enhanced   [0..47] excitation that is synthesised
/// reference  [0..47] signal that sets the level
/// out        [0..47]
void postfilter_enhanced(EnhancedPostfilter& state, const float* A, int T0, const float* enhanced,
                         const float* reference, float* out);

}  // namespace quel
