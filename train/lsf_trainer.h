#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "train/corpus.h"
#include "train/spectrum.h"
#include "train/split_vq.h"

namespace quel::train {

/// The wideband quantiser with its given rows in place and its other rows 0. The columns' upper
/// limits are such that no received frame can decode to a frequency of 8000 Hz or more.
SpectrumQuantizer lsf_quantizer();

/// One frame of the wideband encoder's spectral analysis.
struct LsfFrame {
  const float* lsf;      ///< [0..15] unquantised, Hz
  const Choice* choice;  ///< what it was quantised to
  double rms;            ///< of the coded frame, before the pre-filter
};

/// Runs the wideband encoder's analysis and quantisation with the tables of `q` over one recording
/// at 16 kHz, from a fresh start. The pre-filter of a frame is the quantised filter of the frame
/// before, so what is analysed depends on the tables.
void analyse_lsf(const SpectrumQuantizer& q, const std::vector<std::int16_t>& pcm,
                 const std::function<void(const LsfFrame& frame)>& use);

/// Frames of `recordings` for training, analysed with the tables of `q`.
TrainingSet lsf_training_set(const SpectrumQuantizer& q, const std::vector<Recording>& recordings);

/// Distortion of the frames with an rms above 100: the second subframe's filters before and after
/// quantisation with the tables of `q`.
DistortionCount lsf_distortion(const SpectrumQuantizer& q,
                               const std::vector<Recording>& recordings);

}  // namespace quel::train
