#include "dsp/kernels.h"

namespace quel {

const DspKernels& dsp_kernels(InstructionSet set) {
#if defined(__x86_64__)
  if (set == InstructionSet::avx512) return avx512::dsp_kernels;
  if (set == InstructionSet::avx2) return avx2::dsp_kernels;
#endif
  return static_cast<void>(set), baseline::dsp_kernels;
}

const DspKernels& dsp_kernels() {
  return dsp_kernels(instruction_set());
}

}  // namespace quel
