// What the tables of this build reach on speech that they were not trained on.

#include <exception>
#include <iostream>

#include "train/installed.h"
#include "train/isf_trainer.h"
#include "train/lsf_trainer.h"
#include "train/report.h"

int main(int argc, char** argv) {
  using namespace quel::train;
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " SPEECH_DIR\n";
    return 2;
  }
  try {
    const auto narrow = read_folders(argv[1], {"dev8", "dev16"}, 8000);
    const auto wide = read_folders(argv[1], {"dev16"}, 16000);
    const GainTable gains = installed_gains();
    std::cout << "ISF, 0-4 kHz: " << describe(isf_distortion(installed_isf(), narrow)) << '\n'
              << "LSF, 0-8 kHz: " << describe(lsf_distortion(installed_lsf(), wide)) << '\n'
              << "Gains: " << describe(measure_gain(gains, collect_gain_samples(gains, narrow)))
              << '\n';
  } catch (const std::exception& failure) {
    std::cerr << argv[0] << ": " << failure.what() << '\n';
    return 1;
  }
}
