#pragma once

#include <cstdint>

#include "dsp/instruction_set.h"
#include "dsp/kernels.h"
#include "wideband/pulses16.h"

namespace quel {

/// The fast forms of this folder's routines, compiled for one instruction set; see dsp/kernels.h.
struct WidebandKernels {
  bool (*pulse_matrices)(const float* h, const float* sign, float* rrixiy);
  bool (*pulse_correlations)(const float* h, const float* vec, const int* tracks, const float* sign,
                             const float* rrixix, float* cor);
  bool (*best_pair)(int track_x, int track_y, float* ps, float* alp, std::int32_t* ix,
                    std::int32_t* iy, const float* dn, const float* dn2, const float* cor_x,
                    const float* cor_y, const float* rrixiy);
  void (*response_matrix)(const float* h, float* phi);
  void (*find_pulses)(const wideband::PulseQuestion& question, wideband::Pulses& pulses);
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
#endif

/// Those of an available set, and of the set in use.
const WidebandKernels& wideband_kernels(InstructionSet set);
const WidebandKernels& wideband_kernels();

}  // namespace quel
