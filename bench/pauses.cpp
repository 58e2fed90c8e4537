#include "pauses.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "conformance/random.h"

namespace quel::bench {
namespace {

// Of active speech level: what lies further below is pause.
constexpr double margin_db = 15.9;

double power(std::span<const float> x) {
  double sum = 0.0;
  for (const float v : x) sum += static_cast<double>(v) * v;
  return x.empty() ? 0.0 : sum / static_cast<double>(x.size());
}

// Where a stretch of `length` samples is quietest, from `from` to `to`.
std::size_t quietest(std::span<const float> x, std::size_t from, std::size_t to,
                     std::size_t length) {
  std::size_t best = from;
  double least = -1.0;
  for (std::size_t at = from; at + length <= to; at += length / 4) {
    const double here = power(x.subspan(at, length));
    if (least >= 0.0 && here >= least) continue;
    least = here;
    best = at;
  }
  return best + length / 2;
}

// Marks blocks of 10 ms that are within the margin of the mean over themselves.
void find_speech(Scene& scene, std::size_t block) {
  std::vector<double> powers;
  for (std::size_t at = 0; at + block <= scene.clean.size(); at += block) {
    powers.push_back(power(std::span(scene.clean).subspan(at, block)));
  }
  double level = 0.0;
  for (int pass = 0; pass < 50; ++pass) {
    const double threshold = level * std::pow(10.0, -margin_db / 10.0);
    double sum = 0.0, count = 0.0;
    for (const double p : powers) {
      if (p <= threshold) continue;
      sum += p;
      ++count;
    }
    level = sum / std::max(count, 1.0);
  }
  scene.active_level = level;
  scene.speech.assign(scene.clean.size(), false);
  for (std::size_t k = 0; k < powers.size(); ++k) {
    if (powers[k] <= level * std::pow(10.0, -margin_db / 10.0)) continue;
    std::fill_n(scene.speech.begin() + static_cast<std::ptrdiff_t>(k * block), block, true);
  }
}

}  // namespace

Scene with_pauses(std::span<const std::int16_t> speech, int rate, std::uint64_t seed) {
  conformance::Random random(seed);
  const std::vector<float> x(speech.begin(), speech.end());
  const auto samples = [rate](double seconds) { return static_cast<std::size_t>(seconds * rate); };
  Scene scene;
  std::size_t done = 0;
  while (done + samples(6.1) < x.size()) {
    const std::size_t end = quietest(x, done + samples(3.0), done + samples(6.0), samples(0.04));
    scene.clean.insert(scene.clean.end(), x.begin() + static_cast<std::ptrdiff_t>(done),
                       x.begin() + static_cast<std::ptrdiff_t>(end));
    scene.pause.resize(scene.clean.size(), false);
    scene.clean.resize(scene.clean.size() + samples(random.uniform(1.0, 3.0)), 0.0f);
    scene.pause.resize(scene.clean.size(), true);
    done = end;
  }
  find_speech(scene, samples(0.01));
  return scene;
}

std::vector<float> make_noise(const std::string& kind, std::size_t samples,
                              std::span<const std::int16_t> speech, std::uint64_t seed) {
  conformance::Random random(seed);
  std::vector<float> noise(samples, 0.0f);
  if (kind == "babble") {
    constexpr std::size_t voices = 8;
    for (std::size_t v = 0; v < voices; ++v) {
      const std::size_t from = (2 * v + 1) * speech.size() / (2 * voices);
      for (std::size_t n = 0; n < samples; ++n) noise[n] += speech[(from + n) % speech.size()];
    }
  } else if (kind == "white" || kind == "pink") {
    // Pink: one-pole filters an octave and more apart, which together fall by 3 dB per octave.
    constexpr double pole[] = {0.99886, 0.99332, 0.96900, 0.86650, 0.55000, -0.7616};
    constexpr double gain[] = {0.0555179, 0.0750759, 0.1538520, 0.3104856, 0.5329522, -0.0168980};
    double state[6] = {};
    for (float& out : noise) {
      double white = 0.0;
      for (int i = 0; i < 4; ++i) white += random.uniform(-1.0, 1.0);
      double sum = 0.5362 * white;
      for (int i = 0; i < 6; ++i) sum += state[i] = pole[i] * state[i] + gain[i] * white;
      out = static_cast<float>(kind == "pink" ? sum : white);
    }
  } else {
    throw std::invalid_argument("no such noise");
  }
  const double scale = 1.0 / std::sqrt(power(noise));
  for (float& v : noise) v = static_cast<float>(v * scale);
  return noise;
}

std::vector<std::int16_t> mixed(const Scene& scene, std::span<const float> noise, double snr) {
  const double scale = std::sqrt(scene.active_level * std::pow(10.0, -snr / 10.0));
  std::vector<std::int16_t> pcm(scene.clean.size());
  for (std::size_t n = 0; n < pcm.size(); ++n) {
    const double x = scene.clean[n] + scale * noise[n];
    pcm[n] = static_cast<std::int16_t>(std::lround(std::clamp(x, -32768.0, 32767.0)));
  }
  return pcm;
}

}  // namespace quel::bench
