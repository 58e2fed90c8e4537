#pragma once

#include "dsp/add_squares_kernel.h"
#include "dsp/autocorr_kernel.h"
#include "dsp/convolve_kernel.h"
#include "dsp/correlation_kernel.h"
#include "dsp/cosine_series_kernel.h"
#include "dsp/delay_kernel.h"
#include "dsp/interpol_lpc_kernel.h"
#include "dsp/interpolation_kernel.h"
#include "dsp/kernels.h"
#include "dsp/nearest_kernel.h"
#include "dsp/pcm_kernel.h"
#include "dsp/rank_kernel.h"
#include "dsp/residu_kernel.h"
#include "dsp/syn_filt_kernel.h"

namespace quel::QUEL_SET {

const DspKernels dsp_kernels = {
    .synthesize10 = synthesize<10>,
    .synthesize16 = synthesize<16>,
    .synthesize_both10 = synthesize_both<10>,
    .synthesize_both16 = synthesize_both<16>,
    .residual10 = residual<10>,
    .residual16 = residual<16>,
    .convolved = convolved,
    .filtered_backwards = filtered_backwards,
    .autocorrelated10 = autocorrelated<10>,
    .autocorrelated16 = autocorrelated<16>,
    .lag_correlations = lag_correlations,
    .delayed_products = delayed_products,
    .cut_convolved = cut_convolved,
    .nearest_row = nearest_row,
    .series_values = series_values,
    .ranked = ranked,
    .interpolated = interpolated,
    .interpolated_filters = interpolated_filters,
    .squares_added = squares_added,
    .to_pcm = to_pcm,
};

}  // namespace quel::QUEL_SET

#include "dsp/lanes_end.h"
