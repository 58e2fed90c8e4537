#pragma once

#include "dsp/kernels.h"
#include "dsp/syn_filt_kernel.h"

namespace quel::QUEL_SET {

const DspKernels dsp_kernels = {
    .synthesize10 = synthesize<10>,
    .synthesize16 = synthesize<16>,
};

}  // namespace quel::QUEL_SET
