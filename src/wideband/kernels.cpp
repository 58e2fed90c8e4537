#include "wideband/kernels.h"

namespace quel {

const WidebandKernels& wideband_kernels(InstructionSet set) {
#if defined(__x86_64__)
  if (set == InstructionSet::avx512) return avx512::wideband_kernels;
  if (set == InstructionSet::avx2) return avx2::wideband_kernels;
#endif
  return static_cast<void>(set), baseline::wideband_kernels;
}

const WidebandKernels& wideband_kernels() {
  return wideband_kernels(instruction_set());
}

}  // namespace quel
