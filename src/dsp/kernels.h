#pragma once

#include "dsp/instruction_set.h"

namespace quel {

/// The fast forms of this folder's routines, compiled for one instruction set. Each gives the bits
/// of the plain routine, or says that it does not know them; which lengths and orders it takes
/// stands at its definition. Nobody calls them but the routines themselves, tests and benchmarks.
struct DspKernels {
  bool (*synthesize10)(const float* a, const float* x, float* y, int lg, float* past);
  bool (*synthesize16)(const float* a, const float* x, float* y, int lg, float* past);
};

namespace baseline {
extern const DspKernels dsp_kernels;
}
#if defined(__x86_64__)
namespace avx2 {
extern const DspKernels dsp_kernels;
}
#endif

/// Those of an available set.
const DspKernels& dsp_kernels(InstructionSet set);

/// Those of the set in use.
const DspKernels& dsp_kernels();

/// Longest stretch that a recursion is guessed and proved over.
inline constexpr int stretch_max = 80;

}  // namespace quel
