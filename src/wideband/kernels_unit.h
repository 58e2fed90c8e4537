#pragma once

#include "dsp/response_matrix_kernel.h"
#include "wideband/cod45_85_kernel.h"
#include "wideband/kernels.h"
#include "wideband/lsf2a_kernel.h"
#include "wideband/output_kernel.h"
#include "wideband/pulses16_kernel.h"

namespace quel::QUEL_SET {

const WidebandKernels wideband_kernels = {
    .pulse_matrices = pulse_matrices,
    .place_ten = place_ten,
    .response_matrix = response_matrix<5>,
    .find_pulses = find_pulses,
    .interpolated_filters16 = interpolated_filters16,
    .synthesize_and_filter = synthesize_and_filter,
};

}  // namespace quel::QUEL_SET

#include "dsp/lanes_end.h"
