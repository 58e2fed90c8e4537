// Trains dico1_lsf .. dico5_lsf, the codebooks of the wideband coder's spectral quantiser.

#include <cstddef>
#include <cstdio>
#include <vector>

#include "train/lsf_trainer.h"
#include "train/options.h"
#include "train/report.h"

namespace quel::train {
namespace {

// What is analysed depends on the tables, so the analysis is repeated as they get better. The first
// rounds make do with part of the recordings.
constexpr int first_rounds = 2;
constexpr std::size_t first_part = 4;

std::vector<Recording> part_of(const std::vector<Recording>& recordings) {
  std::vector<Recording> part;
  for (std::size_t n = 0; n < recordings.size(); n += first_part) part.push_back(recordings[n]);
  return part;
}

void work(const Options& options) {
  const auto recordings = read_folders(options.speech_dir, {"train16"}, 16000, options.every);
  SpectrumQuantizer q = lsf_quantizer();
  Random random(options.seed);
  TrainingPlan plan;
  plan.power = 1.0;
  plan.heat = 0.1;
  plan.verbose = true;
  plan.iterations = options.iterations;
  for (int round = 0; round < first_rounds; ++round) {
    const TrainingSet set = lsf_training_set(q, part_of(recordings));
    if (round == 0) seed_codebooks(q, set, random);
    train(q, set, plan, random);
  }
  const TrainingSet set = lsf_training_set(q, recordings);
  plan.heat = 0.0;
  train(q, set, plan, random);
  finish_codebooks(q);

  const auto dev = read_folders(options.speech_dir, {"dev16"}, 16000);
  const std::string reached = describe(lsf_distortion(q, dev));
  std::printf("dev: %s\n", reached.c_str());
  const std::vector<std::string> comment = {
      "Trained: " + options.command("train_lsf"),
      "on train16, " + describe_size(recordings, 16000, set.frames()) + " of 10 ms.",
      "Spectral distortion on dev16, frames with rms above 100:", reached};
  write_codebooks(options.out_dir, q, "_lsf", 3, comment);
}

}  // namespace
}  // namespace quel::train

int main(int argc, char** argv) {
  quel::train::Options defaults;
  defaults.iterations = 25;
  defaults.every = 2;
  return quel::train::run_trainer(argc, argv, defaults, quel::train::work);
}
