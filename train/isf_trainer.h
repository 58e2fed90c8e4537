#pragma once

#include <functional>
#include <vector>

#include "train/corpus.h"
#include "train/spectrum.h"
#include "train/split_vq.h"

namespace quel::train {

/// The narrowband quantiser with its given rows in place and its other rows 0.
SpectrumQuantizer isf_quantizer();

/// Runs the narrowband encoder's analysis over one recording at 8 kHz, from a fresh start.
///
/// len_frame  144 or 240
/// use        called for every frame with isf [0..9], isp [0..9] and the rms of the coded frame,
///            high-passed
void analyse_isf(const std::vector<std::int16_t>& pcm, int len_frame,
                 const std::function<void(const float* isf, const float* isp, double rms)>& use);

/// Frames of `recordings` for training: both frame lengths, since the tables serve both.
TrainingSet isf_training_set(const SpectrumQuantizer& q, const std::vector<Recording>& recordings);

/// Distortion of the frames of 144 samples with an rms above 100: the frame's own filters before
/// and after quantisation with the tables of `q`.
DistortionCount isf_distortion(const SpectrumQuantizer& q,
                               const std::vector<Recording>& recordings);

}  // namespace quel::train
