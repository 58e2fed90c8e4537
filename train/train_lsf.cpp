// Trains dico1_lsf .. dico5_lsf, the codebooks of the wideband coder's spectral quantiser.

#include <cstddef>
#include <vector>

#include "train/descent.h"
#include "train/lsf_trainer.h"
#include "train/options.h"
#include "train/report.h"

namespace quel::train {
namespace {

constexpr int clustering_passes = 10;

// What is analysed depends on the tables, so each round begins with an analysis anew.
const DescentPlan rounds[] = {
    {.steps = 2500, .full_step = 0.2, .step = {5.0f, 0.15f}, .temperature = {4000.0f, 80.0f}},
    {.steps = 3000, .full_step = 0.4, .step = {1.5f, 0.08f}, .temperature = {900.0f, 60.0f}},
    {.steps = 1800,
     .full_step = 0.3,
     .step = {1.5f, 0.06f},
     .temperature = {900.0f, 60.0f},
     .power = 1.4f,
     .recursion = 0.3f},
};

void work(const Options& options) {
  const auto recordings = read_folders(options.speech_dir, {"train16"}, 16000, options.every);
  SpectrumQuantizer q = lsf_quantizer();
  Random random(options.seed);
  cluster_rows(q, lsf_training_set(q, recordings), clustering_passes, random);
  std::size_t frames = 0;
  for (DescentPlan plan : rounds) {
    const TrainingSet set = lsf_training_set(q, recordings);
    frames = set.frames();
    plan.seed = random.bits();
    plan.watch = print_progress("descent");
    descend(q, set, plan);
  }
  finish_codebooks(q);

  const auto dev = read_folders(options.speech_dir, {"dev16"}, 16000);
  write_codebooks(options.out_dir, q, "_lsf", 3,
                  {"Trained: " + options.command("train_lsf"),
                   "on train16, " + describe_size(recordings, 16000, frames) + " of 10 ms.",
                   "Spectral distortion of the frames with an rms above 100:",
                   "train16: " + describe(lsf_distortion(q, recordings)),
                   "dev16: " + describe(lsf_distortion(q, dev))});
}

}  // namespace
}  // namespace quel::train

int main(int argc, char** argv) {
  return quel::train::run_trainer(argc, argv, {}, quel::train::work);
}
