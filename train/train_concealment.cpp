// Fits the weights of immediate concealment: the memories behind a loss, and how fast the sound may
// fall in one.

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "train/concealment_trainer.h"
#include "train/options.h"
#include "train/report.h"
#include "train/table_file.h"

namespace quel::train {
namespace {

Rows joined(Rows rows, const Rows& more) {
  rows.insert(rows.end(), more.begin(), more.end());
  return rows;
}

std::vector<Track> joined(std::vector<Track> tracks, std::vector<Track> more) {
  for (Track& track : more) tracks.push_back(std::move(track));
  return tracks;
}

void write(const std::string& out_dir, const std::string& name, const Rows& rows,
           const std::vector<std::string>& comment) {
  TableFile table{name, comment, static_cast<int>(rows.front().size()), 4, {}};
  for (const auto& row : rows) {
    for (const double weight : row) table.values.push_back(static_cast<float>(weight));
  }
  write_table(out_dir, table);
  std::printf("%s\n", name.c_str());
  std::fflush(stdout);
}

class Job {
 public:
  Job(const Options& options, std::string name, std::vector<Track> tracks, std::string of)
      : options_(options), name_(std::move(name)), tracks_(std::move(tracks)) {
    std::size_t frames = 0;
    for (const Track& track : tracks_) frames += track.size();
    header_ = {"Trained: " + options.command("train_concealment"),
               "on " + of + ", " + std::to_string(frames) + " frames."};
  }

  // One lost frame, then two.
  void energies(std::size_t count, std::size_t clues) const {
    write("energy",
          joined(fit_energies(tracks_, 1, count, clues), fit_energies(tracks_, 2, count, clues)));
  }
  void residuals() const { write("isf", {fit_residual(tracks_, 1), fit_residual(tracks_, 2)}); }
  void residuals_and_deviations() const {
    write("lsf", {fit_residual(tracks_, 1), fit_deviation(tracks_, 1), fit_residual(tracks_, 2),
                  fit_deviation(tracks_, 2)});
  }
  void fall(std::size_t count) const { write("fall", fit_fall(tracks_, count)); }

 private:
  void write(const std::string& what, const Rows& rows) const {
    const std::string folder = options_.out_dir + (name_ == "wb" ? "/wideband" : "/narrowband");
    train::write(folder, "conceal_" + what + "_" + name_, rows, header_);
  }

  const Options& options_;
  std::string name_;
  std::vector<Track> tracks_;
  std::vector<std::string> header_;
};

void work(const Options& options) {
  {
    const auto speech =
        read_folders(options.speech_dir, {"train8", "train16"}, 8000, options.every);
    const Job swt(options, "swt", joined(tracks_of(0, speech), tracks_of(1, speech)),
                  "train8 and train16 at 8 kHz, flavors 0 and 1");
    swt.energies(4, 3);
    swt.residuals();
    swt.fall(6);
    const Job five_k(options, "5k", tracks_of(2, speech), "train8 and train16 at 8 kHz, flavor 2");
    five_k.energies(4, 3);
    five_k.residuals();
    five_k.fall(10);
  }
  const auto speech = read_folders(options.speech_dir, {"train16"}, 16000, options.every);
  const Job wideband(options, "wb", tracks_of(3, speech), "train16, flavor 3");
  wideband.energies(2, 2);
  wideband.residuals_and_deviations();
  wideband.fall(8);
}

}  // namespace
}  // namespace quel::train

int main(int argc, char** argv) {
  return quel::train::run_trainer(argc, argv, {}, quel::train::work);
}
