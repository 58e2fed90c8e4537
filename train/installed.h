#pragma once

#include "train/gain_trainer.h"
#include "train/split_vq.h"

namespace quel::train {

/// The quantisers with the tables that this build of the codec has.
SpectrumQuantizer installed_isf();
SpectrumQuantizer installed_lsf();
GainTable installed_gains();

}  // namespace quel::train
