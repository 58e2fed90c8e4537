#pragma once

#include <functional>
#include <string>
#include <vector>

#include "train/corpus.h"
#include "train/gain_trainer.h"
#include "train/spectrum.h"
#include "train/split_vq.h"

namespace quel::train {

/// The recordings of several folders, every `every`-th of them.
std::vector<Recording> read_folders(const std::string& speech_dir,
                                    const std::vector<std::string>& folders, int rate,
                                    int every = 1);

/// "mean 0.912 dB, 2-4 dB 3.10 %, > 4 dB 0.080 % (12345 frames)."
std::string describe(const DistortionCount& count);

/// "0.48 % of the energy lost, 2.54 % subframe by subframe (12345 subframes)."
std::string describe(const GainDistortion& distortion);

/// "3.27 hours, 123456 frames".
std::string describe_size(const std::vector<Recording>& recordings, int rate, std::size_t frames);

/// For `DescentPlan::watch`: prints the mean loss of every hundred steps.
std::function<void(int done, double loss)> print_progress(const std::string& title);

/// Writes the codebooks of `q` as dico1<suffix>.inc and so on, all with the same header.
void write_codebooks(const std::string& out_dir, const SpectrumQuantizer& q,
                     const std::string& suffix, int digits,
                     const std::vector<std::string>& comment);

}  // namespace quel::train
