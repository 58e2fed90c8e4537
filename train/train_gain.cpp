// Trains t_qua_gain, the joint gain table of the narrowband coder. The spectral codebooks that the
// program is built with are in the loop, so it runs after they have been trained.

#include <cstdio>

#include "train/gain_trainer.h"
#include "train/options.h"
#include "train/report.h"
#include "train/table_file.h"

namespace quel::train {
namespace {

// The table decides what the encoder does next, hence the samples on which it is trained.
constexpr int rounds = 4;
constexpr int iterations = 30;  // of each

void work(const Options& options) {
  const auto recordings =
      read_folders(options.speech_dir, {"train8", "train16"}, 8000, options.every);
  GainTable table = given_gain_rows();
  Random random(options.seed);
  std::size_t subframes = 0;
  for (int round = 0; round < rounds; ++round) {
    const auto samples = collect_gain_samples(table, recordings);
    subframes = samples.size();
    if (round == 0) seed_gain_table(table, samples, random);
    train_gain_table(table, samples, iterations, random);
    std::printf("round %d: %s\n", round, describe(measure_gain(table, samples)).c_str());
    std::fflush(stdout);
  }

  const auto dev = read_folders(options.speech_dir, {"dev8", "dev16"}, 8000);
  const auto reached = [&](const std::vector<Recording>& speech) {
    return describe(measure_gain(table, collect_gain_samples(table, speech)));
  };
  TableFile file;
  file.name = "t_qua_gain";
  file.digits = 6;
  file.comment = {"Trained: " + options.command("train_gain"),
                  "on train8 and train16 at 8 kHz, " + describe_size(recordings, 8000, subframes) +
                      " (subframes of flavors 0, 1 and 2).",
                  "Against unquantised gains, all subframes but digital silence:",
                  "train8, train16: " + reached(recordings), "dev8, dev16: " + reached(dev)};
  for (const auto& row : table) file.values.insert(file.values.end(), row.begin(), row.end());
  write_table(options.out_dir, file);
}

}  // namespace
}  // namespace quel::train

int main(int argc, char** argv) {
  quel::train::Options defaults;
  defaults.every = 12;
  return quel::train::run_trainer(argc, argv, defaults, quel::train::work);
}
