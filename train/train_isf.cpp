// Trains dico1_isf .. dico5_isf, the codebooks of the narrowband coder's spectral quantiser.

#include "train/descent.h"
#include "train/isf_trainer.h"
#include "train/options.h"
#include "train/report.h"
#include "train/table_file.h"

namespace quel::train {
namespace {

constexpr int clustering_passes = 10;

const DescentPlan descent = {.steps = 4000,
                             .full_step = 0.2,
                             .step = {4.0f, 0.05f},
                             .temperature = {1500.0f, 25.0f},
                             .power = 1.9f,
                             .recursion = 0.3f};

void work(const Options& options) {
  const std::vector<std::string> folders = {"train8", "train16"};
  const auto recordings = read_folders(options.speech_dir, folders, 8000, options.every);
  SpectrumQuantizer q = isf_quantizer();
  const TrainingSet set = isf_training_set(q, recordings);
  Random random(options.seed);
  cluster_rows(q, set, clustering_passes, random);
  DescentPlan plan = descent;
  plan.seed = random.bits();
  plan.watch = print_progress("descent");
  descend(q, set, plan);
  finish_codebooks(q);

  const auto dev = read_folders(options.speech_dir, {"dev8", "dev16"}, 8000);
  write_codebooks(options.out_dir, q, "_isf", 4,
                  {"Trained: " + options.command("train_isf"),
                   "on train8 and train16 at 8 kHz, " +
                       describe_size(recordings, 8000, set.frames()) + " of 18 and 30 ms.",
                   "Spectral distortion of the 18 ms frames with an rms above 100:",
                   "train8, train16: " + describe(isf_distortion(q, recordings)),
                   "dev8, dev16: " + describe(isf_distortion(q, dev))});
}

}  // namespace
}  // namespace quel::train

int main(int argc, char** argv) {
  return quel::train::run_trainer(argc, argv, {}, quel::train::work);
}
