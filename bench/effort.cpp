// What each level of the encoder's effort wins: scripts/effort-table. Prints a table:
//   quel_effort speech|hard|enhanced FOLDER EVERY [FLAVOR...]
// of the speech in FOLDER/dev8 and FOLDER/dev16, taking one recording of so many, of the hard set
// made from it, or of what a decoder's option enhance does to it. Exit status 1 where a level of
// the hard set is worse than the one below it.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <quelcodec/quelcodec.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "hard_set.h"
#include "prediction.h"
#include "tools/audio_file.h"
#include "tools/eval_spectral.h"
#include "tools/eval_stoi.h"
#include "tools/quality.h"

namespace quel::bench {
namespace {

namespace fs = std::filesystem;

constexpr int levels = QUEL_MAX_EFFORT + 1;

/// Means over the sounds that have the figure.
struct Mean {
  double sum = 0.0;
  int count = 0;
  void add(double value) {
    if (!std::isfinite(value)) return;
    sum += value;
    ++count;
  }
  double value() const { return sum / count; }
};

struct Figures {
  Mean weighted, plain, stoi, distortion;  // dB, dB, 1, dB
  double sound = 0.0, processor = 0.0;     // seconds

  double speed() const { return sound / processor; }
};
using Levels = std::array<Figures, levels>;

std::vector<float> louder(const std::vector<float>& x, double db) {
  std::vector<float> out(x);
  for (float& v : out) v *= static_cast<float>(std::pow(10.0, db / 20.0));
  return out;
}

void measure(int flavor, int effort, bool enhance, const HardSound& sound, Figures& figures) {
  const int rate = check(quel_sampling_rate(flavor));
  Pcm heard;
  const tools::Trial trial =
      tools::try_codec(flavor, effort, sound.pcm, {.enhance = enhance}, &heard);
  figures.sound += trial.coded_seconds;
  figures.processor += trial.encode_seconds;
  const auto ref = louder(tools::reference(flavor, sound.pcm), sound.louder_db);
  const auto test = louder({heard.begin(), heard.end()}, sound.louder_db);
  figures.weighted.add(
      weighted_segmental_snr({ref.begin(), ref.end()}, {test.begin(), test.end()}, rate));
  Pcm pcm;
  for (const float v : test) {
    pcm.push_back(static_cast<std::int16_t>(std::clamp(v, -32768.0f, 32767.0f)));
  }
  if (const auto snr = tools::snr_figures(ref, pcm, rate)) figures.plain.add(snr->segmental);
  if (const auto heard_of = tools::intelligibility(ref, test, rate)) {
    figures.stoi.add(heard_of->stoi);
  }
  if (const auto lsd = tools::log_spectral_distortion(ref, test, rate)) {
    figures.distortion.add(*lsd);
  }
}

/// Every so many recording of the folders for a rate, at that rate.
std::vector<Pcm> recordings(const std::string& folder, int rate, std::size_t every) {
  std::vector<std::string> files;
  for (const char* part : {"dev8", "dev16"}) {
    if (rate > 8000 && std::string(part) == "dev8") continue;
    for (const auto& entry : fs::directory_iterator(fs::path(folder) / part)) {
      const std::string extension = entry.path().extension();
      if (extension == ".wav" || extension == ".flac") files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  std::vector<Pcm> all;
  for (std::size_t k = 0; k < files.size(); k += every) {
    all.push_back(tools::read_audio(files[k], rate));
  }
  if (all.size() < 3) throw std::runtime_error(folder + " holds too little speech");
  return all;
}

void print_speech(int flavor, const std::vector<Pcm>& speech) {
  Levels all;
  for (const Pcm& pcm : speech) {
    for (int effort = 0; effort < levels; ++effort) {
      measure(flavor, effort, false, {"", pcm, 0.0}, all[static_cast<std::size_t>(effort)]);
    }
  }
  for (int effort = 0; effort < levels; ++effort) {
    const Figures& f = all[static_cast<std::size_t>(effort)];
    const quel_encoder_options options = encoder_options(flavor, effort);
    std::printf("| %d | %d | %.2f | %.2f | %.4f | %.2f | %.0f | %.1f | %d |\n", flavor, effort,
                f.weighted.value(), f.plain.value(), f.stoi.value(), f.distortion.value(),
                f.speed(), all[0].speed() / f.speed(), check(quel_encoder_size(&options)));
  }
  std::fflush(stdout);
}

void print_enhanced(int flavor, const std::vector<Pcm>& speech) {
  std::array<Figures, 2> all;
  for (const Pcm& pcm : speech) {
    for (const bool enhance : {false, true})
      measure(flavor, 0, enhance, {"", pcm, 0.0}, all[enhance]);
  }
  for (const bool enhance : {false, true}) {
    const Figures& f = all[enhance];
    std::printf("| %d | %s | %.2f | %.2f | %.4f | %.2f |\n", flavor, enhance ? "yes" : "no",
                f.weighted.value(), f.plain.value(), f.stoi.value(), f.distortion.value());
  }
  std::fflush(stdout);
}

// Worse in what is heard than the level below, by more than nothing; level 1 may lose a little of
// the intelligibility, which it does not aim at.
bool is_worse(const Figures& level, const Figures& below) {
  return level.weighted.value() < below.weighted.value() ||
         level.stoi.value() < below.stoi.value() - 0.001;
}

bool print_hard(int flavor, const std::vector<HardSound>& sounds) {
  std::map<std::string, Levels> kinds;
  for (const HardSound& sound : sounds) {
    for (int effort = 0; effort < levels; ++effort) {
      measure(flavor, effort, false, sound, kinds[sound.kind][static_cast<std::size_t>(effort)]);
    }
  }
  bool good = true;
  for (const std::string& kind : hard_kinds()) {
    const Levels& all = kinds.at(kind);
    std::printf("| %d | %s |", flavor, kind.c_str());
    const auto print = [&](const char* format, auto figure) {
      for (const Figures& level : all) std::printf(format, figure(level));
    };
    print(" %.2f |", [](const Figures& f) { return f.weighted.value(); });
    print(" %.2f |", [](const Figures& f) { return f.plain.value(); });
    print(" %.4f |", [](const Figures& f) { return f.stoi.value(); });
    print(" %.2f |", [](const Figures& f) { return f.distortion.value(); });
    std::printf("\n");
    for (std::size_t effort = 1; effort < levels; ++effort) {
      if (!is_worse(all[effort], all[effort - 1])) continue;
      std::fprintf(stderr, "flavor %d, %s: effort %zu is worse than %zu\n", flavor, kind.c_str(),
                   effort, effort - 1);
      good = false;
    }
  }
  std::fflush(stdout);
  return good;
}

bool run(const std::string& what, const std::string& folder, std::size_t every,
         const std::vector<int>& flavors) {
  bool good = true;
  for (const int flavor : flavors) {
    const int rate = check(quel_sampling_rate(flavor));
    const std::vector<Pcm> speech = recordings(folder, rate, every);
    if (what == "speech") {
      print_speech(flavor, speech);
    } else if (what == "enhanced") {
      print_enhanced(flavor, speech);
    } else {
      good = print_hard(flavor, hard_set(speech, rate, /*seed=*/1)) && good;
    }
  }
  return good;
}

}  // namespace
}  // namespace quel::bench

int main(int argc, char** argv) {
  const std::string what = argc >= 4 ? argv[1] : "";
  const int every = argc >= 4 ? std::atoi(argv[3]) : 0;
  if ((what != "speech" && what != "hard" && what != "enhanced") || every < 1) {
    std::fprintf(stderr, "usage: quel_effort speech|hard|enhanced FOLDER EVERY [FLAVOR...]\n");
    return 2;
  }
  std::vector<int> flavors;
  for (int k = 4; k < argc; ++k) flavors.push_back(std::atoi(argv[k]));
  if (flavors.empty()) flavors = {0, 1, 2, 3};
  try {
    return quel::bench::run(what, argv[2], static_cast<std::size_t>(every), flavors) ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quel_effort: %s\n", error.what());
    return 1;
  }
}
