#pragma once

#include <cstdint>

#include "dsp/instruction_set.h"
#include "dsp/kernels.h"
#include "wideband/pulses16.h"

namespace quel {

/// What the search over five tracks goes by.
struct PulseTracks16 {
  const float* dn;      ///< [0..79] backward-filtered target, sign-free
  const float* dn2;     ///< [0..79] negative at the candidates
  const float* h;       ///< [0..79]
  const float* sign;    ///< [0..79]
  const float* rrixix;  ///< [0..79] half energies, track by track
  const float* rrixiy;  ///< [0..1279] cross-correlations of each track with the next
  bool from_signs;      ///< whether running vectors start from the negated signs
  double* room;         ///< [0..399] scribbled on
};

/// Pulses of one rotation.
struct PlacedPulses16 {
  float ps, alp;
  std::int32_t position[10];
};

/// The fast forms of this folder's routines, compiled for one instruction set; see dsp/kernels.h.
struct WidebandKernels {
  bool (*pulse_matrices)(const float* h, const float* sign, float* rrixiy);
  bool (*place_ten)(const PulseTracks16& tracks, int start, int ways, PlacedPulses16* placed);
  void (*response_matrix)(const float* h, float* phi);
  void (*find_pulses)(const wideband::PulseQuestion& question, const float* phi,
                      wideband::Pulses& pulses);
  void (*interpolated_filters16)(const float* lsp_old, const float* lsp_new, float* Az);
  bool (*synthesize_and_filter)(const Recursion& synthesis, const Recursion& postfilter,
                                const Recursion* fading);
};

namespace baseline {
extern const WidebandKernels wideband_kernels;
}
#if defined(__x86_64__)
namespace avx2 {
extern const WidebandKernels wideband_kernels;
}
namespace avx512 {
extern const WidebandKernels wideband_kernels;
}
#endif

/// Those of an available set, and of the set in use.
const WidebandKernels& wideband_kernels(InstructionSet set);
const WidebandKernels& wideband_kernels();

}  // namespace quel
