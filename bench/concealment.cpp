// What the ways of concealment make of recorded speech, beside the clean decode of the same units:
// scripts/concealment-table. Prints the lines of a table, one per flavor, loss and way:
//   quel_concealment FOLDER MINUTES
// FOLDER holds the speech; so many minutes of each sampling rate are taken.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <quelcodec/quelcodec.hpp>
#include <string>
#include <vector>

#include "dsp/scratch.h"
#include "interface/frame_driver.h"
#include "loss_figures.h"
#include "speech.h"
#include "tools/eval_spectral.h"
#include "tools/eval_stoi.h"
#include "tools/loss.h"

namespace quel::bench {
namespace {

using Pcm = std::vector<std::int16_t>;

struct Coded {
  int flavor;
  int rate;
  std::size_t frame;  // samples
  std::size_t frames_per_unit;
  std::vector<std::uint8_t> units;
  Pcm clean;
};

Coded code(int flavor, Pcm pcm) {
  Coded coded{flavor,
              check(quel_sampling_rate(flavor)),
              static_cast<std::size_t>(check(quel_samples_per_frame(flavor))),
              static_cast<std::size_t>(check(quel_frames_per_unit(flavor))),
              {},
              {}};
  const std::size_t unit = coded.frame * coded.frames_per_unit;
  pcm.resize(pcm.size() / unit * unit);
  coded.units = Encoder(flavor).encode_units(pcm);
  coded.clean = Decoder(flavor).decode_units(coded.units, {});
  return coded;
}

enum class Way { predecessor, immediate, deferred };

// The frame decoder's own losses: what streams did until behaviour 2.
Pcm decode_as_before(const Coded& coded, const std::vector<std::uint8_t>& received) {
  FrameDecoder decoder;
  Mode mode;
  set_mode(mode, coded.flavor);
  const ScratchSwitch scratch(decoder.scratch);
  init_parts(DecoderParts(decoder));
  Pcm heard(coded.clean.size());
  SampleSink out(heard.data());
  for (std::size_t k = 0; k < received.size(); ++k) {
    const std::size_t unit = k / coded.frames_per_unit, place = k % coded.frames_per_unit;
    const std::uint8_t* in = &coded.units[unit * static_cast<std::size_t>(mode.outputBytes)];
    take_frame_at_once(decoder, mode, received[k] != 0 ? in : nullptr,
                       static_cast<std::int32_t>(place) * mode.prmBits,
                       static_cast<std::uint32_t>(coded.flavor), out);
  }
  return heard;
}

// What a loss of more than five frames leaves out is silence at its start.
Pcm decode_deferred(const Coded& coded, const std::vector<std::uint8_t>& received) {
  Decoder decoder(coded.flavor, Concealment::deferred);
  const std::size_t bytes = coded.units.size() / (received.size() / coded.frames_per_unit);
  Pcm heard, block(decoder.max_samples());
  std::size_t missing = 0;
  for (std::size_t k = 0; k < received.size(); k += coded.frames_per_unit) {
    std::uint32_t mask = 0;
    for (std::size_t f = 0; f < coded.frames_per_unit; ++f) {
      mask |= static_cast<std::uint32_t>(received[k + f]) << f;
      missing = received[k + f] != 0 ? 0 : missing + 1;
      if (missing > 5) heard.resize(heard.size() + coded.frame);
    }
    const auto unit = std::span(coded.units).subspan(k / coded.frames_per_unit * bytes, bytes);
    const std::size_t n = decoder.decode(unit, mask, block);
    heard.insert(heard.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(n));
  }
  heard.resize(coded.clean.size());
  return heard;
}

Pcm decode(const Coded& coded, Way way, const std::vector<std::uint8_t>& received) {
  if (way == Way::predecessor) return decode_as_before(coded, received);
  if (way == Way::deferred) return decode_deferred(coded, received);
  return Decoder(coded.flavor).decode_units(coded.units, received);
}

double quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0.0;
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

void print_line(const Coded& coded, const std::string& loss, Way way,
                const std::vector<std::uint8_t>& received) {
  const Pcm heard = decode(coded, way, received);
  const auto behind = static_cast<std::size_t>(coded.flavor == QUEL_FLAVOR_5K ? 1 : 0);
  std::vector<bool> lost(received.size());
  for (std::size_t k = behind; k < lost.size(); ++k) lost[k] = received[k - behind] == 0;
  const LossFigures figures = loss_figures(coded.clean, heard, lost, coded.frame, coded.rate);
  const std::vector<float> clean(coded.clean.begin(), coded.clean.end());
  const std::vector<float> test(heard.begin(), heard.end());
  const auto stoi = tools::intelligibility(clean, test, coded.rate).value();
  const double lsd = tools::log_spectral_distortion(clean, test, coded.rate).value();
  const double tens = static_cast<double>(clean.size()) / coded.rate / 600.0;
  const auto per_ten = [tens](std::size_t count) { return static_cast<double>(count) / tens; };
  static const char* const names[] = {"before", "immediate", "deferred"};
  std::printf(
      "| %d | %s | %s | %.4f | %.4f | %.2f | %.1f | %.1f | %.1f | %.1f | %.0f | %.0f | %.0f |\n",
      coded.flavor, loss.c_str(), names[static_cast<int>(way)], stoi.stoi, stoi.estoi, lsd,
      per_ten(figures.above_6), per_ten(figures.above_12), per_ten(figures.loud), figures.highest,
      per_ten(figures.below_12), 1000.0 * quantile(figures.recovery, 0.5),
      1000.0 * quantile(figures.recovery, 0.9));
  std::fflush(stdout);
}

// A loss of this length in the middle of every 5 s.
std::vector<bool> long_losses(const Coded& coded, double seconds) {
  const double frames = static_cast<double>(coded.rate) / static_cast<double>(coded.frame);
  std::vector<bool> lost(static_cast<std::size_t>(5.0 * frames));
  std::fill_n(lost.begin() + static_cast<std::ptrdiff_t>(lost.size() / 2),
              static_cast<std::ptrdiff_t>(seconds * frames + 0.5), true);
  return lost;
}

void measure(const Coded& coded) {
  std::vector<std::pair<std::string, tools::LossPattern>> losses = {
      {"3 %", tools::LossPattern(3.0, 1)},
      {"5 %", tools::LossPattern(5.0, 1)},
      {"10 %", tools::LossPattern(10.0, 1)},
      {"5 % in runs of 3", tools::LossPattern::bursts(5.0, 3.0, 1)}};
  for (const double seconds : {0.1, 0.2, 0.5, 1.0, 2.0}) {
    char name[20];
    std::snprintf(name, sizeof name, "%.1f s", seconds);
    losses.emplace_back(name, tools::LossPattern::listed(long_losses(coded, seconds)));
  }
  for (auto& [name, pattern] : losses) {
    std::vector<std::uint8_t> received(coded.clean.size() / coded.frame);
    for (std::uint8_t& flag : received) flag = pattern.lost() ? 0 : 1;
    for (const Way way : {Way::predecessor, Way::immediate, Way::deferred}) {
      print_line(coded, name, way, received);
    }
  }
}

}  // namespace
}  // namespace quel::bench

int main(int argc, char** argv) try {
  using namespace quel::bench;
  const double minutes = argc == 3 ? std::atof(argv[2]) : 0.0;
  if (!(minutes > 0.0 && minutes <= 100.0)) {
    std::fprintf(stderr, "quel_concealment FOLDER MINUTES\n");
    return 2;
  }
  const Pcm narrowband = read_speech(argv[1], 8000, 60.0 * minutes).pcm;
  const Pcm wideband = read_speech(argv[1], 16000, 60.0 * minutes).pcm;
  for (const int flavor : {0, 1, 2, 3}) measure(code(flavor, flavor == 3 ? wideband : narrowband));
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "quel_concealment: %s\n", error.what());
  return 1;
}
