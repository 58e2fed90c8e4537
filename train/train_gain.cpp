// Trains t_qua_gain, the joint gain table of the narrowband coder. The spectral codebooks that the
// program is built with are in the loop, so it runs after they have been trained.

#include <cstdint>
#include <cstdio>
#include <functional>
#include <future>
#include <vector>

#include "train/gain_trainer.h"
#include "train/options.h"
#include "train/report.h"
#include "train/table_file.h"

namespace quel::train {
namespace {

// Where the rows start decides which of many local minima they end in, so several starts are
// trained and the best is kept.
constexpr int starts = 4;
// The table decides what the encoder does next, hence the samples on which it is trained.
constexpr int rounds = 4;
constexpr int iterations = 30;  // of each

struct Trained {
  GainTable table = given_gain_rows();
  GainDistortion reached;
};

Trained train_from(std::uint64_t seed, const std::vector<Recording>& recordings) {
  Trained trained;
  Random random(seed);
  for (int round = 0; round < rounds; ++round) {
    const auto samples = collect_gain_samples(trained.table, recordings);
    if (round == 0) seed_gain_table(trained.table, samples, random);
    train_gain_table(trained.table, samples, iterations, random);
    trained.reached = measure_gain(trained.table, samples);
  }
  return trained;
}

// The start that loses least subframe by subframe: in the energy lost they hardly differ.
Trained best_of_starts(std::uint64_t seed, const std::vector<Recording>& recordings) {
  std::vector<std::future<Trained>> running;
  for (std::uint64_t start = 0; start < starts; ++start) {
    running.push_back(
        std::async(std::launch::async, train_from, seed + start, std::cref(recordings)));
  }
  Trained best;
  for (std::size_t start = 0; start < running.size(); ++start) {
    const Trained trained = running[start].get();
    std::printf("start %zu: %s\n", start, describe(trained.reached).c_str());
    std::fflush(stdout);
    if (start == 0 || trained.reached.lost_apiece < best.reached.lost_apiece) best = trained;
  }
  return best;
}

void work(const Options& options) {
  const auto recordings =
      read_folders(options.speech_dir, {"train8", "train16"}, 8000, options.every);
  const auto [table, on_last_round] = best_of_starts(options.seed, recordings);
  const auto subframes = static_cast<std::size_t>(on_last_round.samples);

  const auto dev = read_folders(options.speech_dir, {"dev8", "dev16"}, 8000);
  const auto reached = [&table = table](const std::vector<Recording>& speech) {
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
