#include "narrowband/kernels.h"

namespace quel {

const NarrowbandKernels& narrowband_kernels(InstructionSet set) {
#if defined(__x86_64__)
  if (set == InstructionSet::avx512) return avx512::narrowband_kernels;
  if (set == InstructionSet::avx2) return avx2::narrowband_kernels;
#endif
  return static_cast<void>(set), baseline::narrowband_kernels;
}

const NarrowbandKernels& narrowband_kernels() {
  return narrowband_kernels(instruction_set());
}

}  // namespace quel
