// What the tables of this build reach on the speech that they were trained on and on speech that
// they were not, as tables of Markdown.

#include <cstdio>
#include <exception>
#include <iostream>

#include "train/installed.h"
#include "train/isf_trainer.h"
#include "train/lsf_trainer.h"
#include "train/report.h"

namespace quel::train {
namespace {

// Of the narrowband training speech, which is long, every so many recordings go through the
// encoder; the gains are trained on as many.
constexpr int gain_part = 12;

void spectrum_row(const char* table, const char* speech, const DistortionCount& count) {
  std::printf("| %s | %s | %ld | %.3f | %.2f | %.3f |\n", table, speech, count.frames, count.mean(),
              count.percent2(), count.percent4());
}

void gain_row(const char* speech, const GainTable& table,
              const std::vector<Recording>& recordings) {
  const auto samples = collect_gain_samples(table, recordings);
  const GainDistortion distortion = measure_gain(table, samples);
  std::printf("| %s | %ld | %.2f | %.2f | %d | %d |\n", speech, distortion.samples,
              100.0 * distortion.lost, 100.0 * distortion.lost_apiece, rows_at_greatest(table),
              unused_rows(table, samples));
}

void report(const std::string& speech_dir) {
  const auto narrow_train = read_folders(speech_dir, {"train8", "train16"}, 8000);
  const auto narrow_dev = read_folders(speech_dir, {"dev8", "dev16"}, 8000);
  const auto wide_train = read_folders(speech_dir, {"train16"}, 16000);
  const auto wide_dev = read_folders(speech_dir, {"dev16"}, 16000);
  const SpectrumQuantizer isf = installed_isf();
  const SpectrumQuantizer lsf = installed_lsf();
  std::printf(
      "| codebooks | speech | frames | mean, dB | 2-4 dB, %% | > 4 dB, %% |\n"
      "|---|---|---:|---:|---:|---:|\n");
  spectrum_row("ISF", "train8, train16", isf_distortion(isf, narrow_train));
  spectrum_row("ISF", "dev8, dev16", isf_distortion(isf, narrow_dev));
  spectrum_row("LSF", "train16", lsf_distortion(lsf, wide_train));
  spectrum_row("LSF", "dev16", lsf_distortion(lsf, wide_dev));
  std::printf("\nLeast used row, of an even share: ISF %.1f %%, LSF %.1f %%.\n\n",
              100.0 * least_use(isf, isf_training_set(isf, narrow_train)),
              100.0 * least_use(lsf, lsf_training_set(lsf, wide_train)));
  std::printf(
      "| gains: speech | subframes | energy lost, %% | subframe by subframe, %% "
      "| rows at the greatest correction | rows unused |\n|---|---:|---:|---:|---:|---:|\n");
  const GainTable gains = installed_gains();
  gain_row("train8, train16", gains,
           read_folders(speech_dir, {"train8", "train16"}, 8000, gain_part));
  gain_row("dev8, dev16", gains, narrow_dev);
}

}  // namespace
}  // namespace quel::train

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " SPEECH_DIR\n";
    return 2;
  }
  try {
    quel::train::report(argv[1]);
  } catch (const std::exception& failure) {
    std::cerr << argv[0] << ": " << failure.what() << '\n';
    return 1;
  }
}
