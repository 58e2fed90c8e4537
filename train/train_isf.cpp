// Trains dico1_isf .. dico5_isf, the codebooks of the narrowband coder's spectral quantiser.

#include <cstdio>

#include "train/isf_trainer.h"
#include "train/options.h"
#include "train/report.h"
#include "train/table_file.h"

namespace quel::train {
namespace {

void work(const Options& options) {
  const auto recordings =
      read_folders(options.speech_dir, {"train8", "train16"}, 8000, options.every);
  SpectrumQuantizer q = isf_quantizer();
  const TrainingSet set = isf_training_set(q, recordings);
  Random random(options.seed);
  TrainingPlan plan;
  plan.iterations = options.iterations;
  plan.heat = 0.5;
  plan.verbose = true;
  seed_codebooks(q, set, random);
  train(q, set, plan, random);
  finish_codebooks(q);

  const auto dev = read_folders(options.speech_dir, {"dev8", "dev16"}, 8000);
  const std::string reached = describe(isf_distortion(q, dev));
  std::printf("dev: %s\n", reached.c_str());
  const std::vector<std::string> comment = {
      "Trained: " + options.command("train_isf"),
      "on train8 and train16 at 8 kHz, " + describe_size(recordings, 8000, set.frames()) +
          " of 18 and 30 ms.",
      "Spectral distortion on dev8 and dev16, 18 ms frames with rms above 100:", reached};
  write_codebooks(options.out_dir, q, "_isf", 4, comment);
}

}  // namespace
}  // namespace quel::train

int main(int argc, char** argv) {
  quel::train::Options defaults;
  defaults.iterations = 120;
  return quel::train::run_trainer(argc, argv, defaults, quel::train::work);
}
