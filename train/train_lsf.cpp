// Trains dico1_lsf .. dico5_lsf, the codebooks of the wideband coder's spectral quantiser.

#include <cstdio>

#include "train/lsf_trainer.h"
#include "train/options.h"
#include "train/report.h"

namespace quel::train {
namespace {

// What is analysed depends on the tables, so the analysis is repeated as they get better. Untrained
// tables would give an absurd pre-filter: the first ones see only a few frames' worth of
// iterations.
constexpr int rounds = 4;

void work(const Options& options) {
  const auto recordings = read_folders(options.speech_dir, {"train16"}, 16000, options.every);
  SpectrumQuantizer q = lsf_quantizer();
  Random random(options.seed);
  std::size_t frames = 0;
  for (int round = 0; round < rounds; ++round) {
    const TrainingSet set = lsf_training_set(q, recordings);
    frames = set.frames();
    if (round == 0) seed_codebooks(q, set, random);
    TrainingPlan plan;
    plan.verbose = true;
    if (round + 1 < rounds) plan.iterations = 12;
    if (round + 1 == rounds) plan.iterations = options.iterations;
    if (round > 0) plan.heat *= 0.5;
    train(q, set, plan, random);
  }
  finish_codebooks(q);

  const auto dev = read_folders(options.speech_dir, {"dev16"}, 16000);
  const std::string reached = describe(lsf_distortion(q, dev));
  std::printf("dev: %s\n", reached.c_str());
  const std::vector<std::string> comment = {
      "Trained: " + options.command("train_lsf"),
      "on train16, " + describe_size(recordings, 16000, frames) + " of 10 ms.",
      "Spectral distortion on dev16, frames with rms above 100:", reached};
  write_codebooks(options.out_dir, q, "_lsf", 3, comment);
}

}  // namespace
}  // namespace quel::train

int main(int argc, char** argv) {
  quel::train::Options defaults;
  defaults.iterations = 60;
  return quel::train::run_trainer(argc, argv, defaults, quel::train::work);
}
