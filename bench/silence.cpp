// How well speech is told from the background, and how near comfort noise comes to it:
// scripts/silence-table. Prints two tables:
//   quel_silence FOLDER MINUTES
// FOLDER holds the speech. Exit status 1 where more than 1 % of the units of speech were missed, or
// comfort noise is further from the background than it may be.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <string>
#include <vector>

#include "pauses.h"
#include "speech.h"
#include "tools/eval_fft.h"

namespace quel::bench {
namespace {

using Pcm = std::vector<std::int16_t>;

/// What became of a scene's units.
struct Units {
  std::vector<bool> active, needed;
  Pcm all, sparse;  // decoded from every unit, and from those that are needed
  std::size_t samples = 0;
};

Units run(int flavor, const Pcm& pcm) {
  Encoder encoder(flavor);
  Decoder all(flavor), sparse(flavor);
  Units units;
  units.samples = encoder.samples_per_unit();
  std::vector<std::uint8_t> unit(encoder.bytes_per_unit());
  Pcm out(all.max_samples());
  for (std::size_t at = 0; at + units.samples <= pcm.size(); at += units.samples) {
    encoder.encode(std::span(pcm).subspan(at, units.samples), unit);
    units.active.push_back(quel_encoder_voice_active(encoder.get()) == 1);
    const bool needed = quel_encoder_unit_needed(encoder.get()) == 1;
    units.needed.push_back(needed);
    std::size_t count = all.decode(unit, QUEL_ALL_RECEIVED, out);
    units.all.insert(units.all.end(), out.begin(),
                     out.begin() + static_cast<std::ptrdiff_t>(count));
    count = sparse.decode(unit, needed ? QUEL_ALL_RECEIVED : QUEL_NOT_SENT, out);
    units.sparse.insert(units.sparse.end(), out.begin(),
                        out.begin() + static_cast<std::ptrdiff_t>(count));
  }
  return units;
}

/// Shares of units, percent.
struct Found {
  double missed = 0.0, silence = 0.0, unsent = 0.0;
};

Found compare(int flavor, const Scene& scene, const Units& units) {
  const auto ahead = static_cast<std::size_t>(flavor == QUEL_FLAVOR_16K ? 80 : 120);
  double speech = 0, missed = 0, silent = 0, found = 0, unsent = 0;
  for (std::size_t u = 1; u < units.active.size(); ++u) {
    const std::size_t from = u * units.samples - ahead;
    bool any_speech = false, all_pause = true;
    for (std::size_t n = from; n < from + units.samples; ++n) {
      any_speech |= scene.speech[n];
      all_pause &= scene.pause[n];
    }
    speech += any_speech ? 1 : 0;
    missed += any_speech && !units.active[u] ? 1 : 0;
    silent += all_pause ? 1 : 0;
    found += all_pause && !units.active[u] ? 1 : 0;
    unsent += units.needed[u] ? 0 : 1;
  }
  return {100 * missed / speech, 100 * found / silent,
          100 * unsent / static_cast<double>(units.active.size())};
}

/// How far comfort noise is from the background, in blocks of 100 ms.
struct Distance {
  double bias = 0.0, level = 0.0, spectrum = 0.0;  // dB: means of difference, size of it, rms
  std::size_t blocks = 0;
};

constexpr std::size_t bands = 16;

/// Levels of a block in bands of even width, from 200 Hz to nine tenths of what there is, dB.
class BandLevels {
 public:
  explicit BandLevels(int rate)
      : window_(tools::hann_window(static_cast<std::size_t>(rate / 50))),
        spectrum_(tools::power_of_two(window_.size())),
        low_(400 * spectrum_.bins() / static_cast<std::size_t>(rate)),
        high_(9 * spectrum_.bins() / 10) {}

  std::vector<double> of(std::span<const std::int16_t> x) {
    std::vector<double> levels(bands, 0.0), frame(window_.size());
    for (std::size_t at = 0; at + frame.size() <= x.size(); at += frame.size() / 2) {
      for (std::size_t n = 0; n < frame.size(); ++n) frame[n] = window_[n] * x[at + n];
      const auto power = spectrum_.of(frame);
      for (std::size_t k = low_; k < high_; ++k) {
        levels[(k - low_) * bands / (high_ - low_)] += power[k];
      }
    }
    for (double& level : levels) level = 10.0 * std::log10(level + 1.0);
    return levels;
  }

 private:
  std::vector<double> window_;
  tools::PowerSpectrum spectrum_;
  std::size_t low_, high_;
};

double level_of(std::span<const std::int16_t> x) {
  double sum = 0.0;
  for (const std::int16_t v : x) sum += static_cast<double>(v) * v;
  return 10.0 * std::log10(sum / static_cast<double>(x.size()) + 0.1);
}

Distance noise_distance(int flavor, const Units& units) {
  const int rate = check(quel_sampling_rate(flavor));
  const auto block = static_cast<std::size_t>(rate / 10);
  const std::size_t behind = flavor == QUEL_FLAVOR_5K ? 240 : 0;
  BandLevels levels(rate);
  Distance distance;
  for (std::size_t at = behind; at + block <= units.all.size(); at += block) {
    bool inactive = true;
    const std::size_t last = (at - behind + block - 1) / units.samples;
    for (std::size_t u = (at - behind) / units.samples; u <= last; ++u) {
      inactive &= !units.active[u];
    }
    if (!inactive) continue;
    const auto all = std::span(units.all).subspan(at, block);
    const auto sparse = std::span(units.sparse).subspan(at, block);
    const double difference = level_of(sparse) - level_of(all);
    distance.bias += difference;
    distance.level += std::abs(difference);
    const auto one = levels.of(all), other = levels.of(sparse);
    double sum = 0.0;
    for (std::size_t b = 0; b < bands; ++b) sum += (one[b] - other[b]) * (one[b] - other[b]);
    distance.spectrum += std::sqrt(sum / bands);
    ++distance.blocks;
  }
  const auto blocks = static_cast<double>(std::max<std::size_t>(distance.blocks, 1));
  distance.bias /= blocks;
  distance.level /= blocks;
  distance.spectrum /= blocks;
  return distance;
}

bool measure(int flavor, const Scene& scene, const Pcm& speech) {
  bool good = true;
  for (const char* kind : {"white", "pink", "babble"}) {
    const std::vector<float> noise = make_noise(kind, scene.clean.size(), speech, 7);
    for (const double snr : {20.0, 10.0, 5.0}) {
      const Units units = run(flavor, mixed(scene, noise, snr));
      const Found found = compare(flavor, scene, units);
      const Distance distance = noise_distance(flavor, units);
      std::printf("| %d | %s | %g dB | %.2f %% | %.0f %% | %.0f %% |", flavor, kind, snr,
                  found.missed, found.silence, found.unsent);
      good &= found.missed <= 1.0;
      const auto inactive = std::count(units.active.begin(), units.active.end(), false);
      if (50 * static_cast<std::size_t>(inactive) < units.active.size()) {
        std::printf(" - | - | - |\n");
      } else {
        std::printf(" %+.1f dB | %.1f dB | %.1f dB |\n", distance.bias, distance.level,
                    distance.spectrum);
        good &= distance.level <= 2.0 && distance.spectrum <= 3.0;
      }
      std::fflush(stdout);
    }
  }
  return good;
}

}  // namespace
}  // namespace quel::bench

int main(int argc, char** argv) try {
  using namespace quel::bench;
  const double minutes = argc >= 3 ? std::atof(argv[2]) : 0.0;
  if (!(minutes >= 1.0 && minutes <= 1000.0)) {
    std::fprintf(stderr, "quel_silence FOLDER MINUTES\n");
    return 2;
  }
  bool good = true;
  Scene scene;
  Speech speech;
  int before = 0;
  for (int flavor = 0; flavor < 4; ++flavor) {
    const int rate = quel::check(quel_sampling_rate(flavor));
    if (rate != before) {
      speech = read_speech(argv[1], rate, 60.0 * minutes);
      scene = with_pauses(speech.pcm, rate, 1);
      before = rate;
    }
    good &= measure(flavor, scene, speech.pcm);
  }
  return good ? 0 : 1;
} catch (const std::exception& error) {
  std::fprintf(stderr, "quel_silence: %s\n", error.what());
  return 1;
}
