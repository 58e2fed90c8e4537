#pragma once

#include "dsp/response_matrix_kernel.h"
#include "narrowband/acb27_15_kernel.h"
#include "narrowband/acb_kernel.h"
#include "narrowband/decoder_kernel.h"
#include "narrowband/kernels.h"
#include "narrowband/pulse_kernel.h"
#include "narrowband/pulses_kernel.h"

namespace quel::QUEL_SET {

const NarrowbandKernels narrowband_kernels = {
    .cross_blocks3 = cross_blocks<3>,
    .cross_blocks6 = cross_blocks<6>,
    .cor_h_vec_pair = cor_h_vec_pair,
    .best_pair3 = best_pair<3>,
    .best_pair6 = best_pair<6>,
    .place_six = place_six,
    .place_three = place_three,
    .best_opposite_pair = best_opposite_pair,
    .pulses_placed = pulses_placed,
    .synthesize_and_pass = synthesize_and_pass,
    .level_and_pass = level_and_pass,
    .mix_excitation = mix_excitation,
    .correlate_pulses = response_matrix<3>,
    .free_pitch_gain = free_pitch_gain,
    .best_pulse = best_pulse,
};

}  // namespace quel::QUEL_SET

#include "dsp/lanes_end.h"
