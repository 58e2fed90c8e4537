#include "hard_set.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "conformance/random.h"
#include "prediction.h"

namespace quel::bench {
namespace {

using conformance::Random;
using Signal = std::vector<double>;

constexpr double noise_db = -12.0;
constexpr double music_db = -10.0;
constexpr double quiet_db = -40.0;
constexpr double clipping_db = 18.0;

double from_db(double db) {
  return std::pow(10.0, db / 20.0);
}

template <typename Sound>
double level(const Sound& x) {
  double sum = 0.0;
  for (const double v : x) sum += v * v;
  return std::sqrt(sum / static_cast<double>(x.size()));
}

Pcm to_pcm(const Signal& x) {
  Pcm out;
  for (const double v : x) {
    out.push_back(static_cast<std::int16_t>(std::clamp(std::round(v), -32768.0, 32767.0)));
  }
  return out;
}

Pcm to_pcm_unclipped(Signal x) {
  double peak = 0.0;
  for (const double v : x) peak = std::max(peak, std::fabs(v));
  if (peak > 32000.0) {
    for (double& v : x) v *= 32000.0 / peak;
  }
  return to_pcm(x);
}

Pcm mixed(const Pcm& speech, const Signal& other, double db) {
  Signal sum(speech.begin(), speech.end());
  const double loud = level(other);
  const double gain = loud > 0.0 ? level(speech) * from_db(db) / loud : 0.0;
  for (std::size_t n = 0; n < sum.size(); ++n) sum[n] += gain * other[n];
  return to_pcm_unclipped(std::move(sum));
}

// Adds one key of a chord, struck at `from`.
void strike(Signal& music, std::size_t from, double frequency, int rate, Random& random) {
  constexpr int partials = 6;
  constexpr double seconds = 1.5;
  const auto length = std::min(static_cast<std::size_t>(seconds * rate), music.size() - from);
  for (int k = 1; k <= partials && k * frequency < 0.45 * rate; ++k) {
    const double step = 2.0 * std::numbers::pi * k * frequency / rate;
    const double phase = random.uniform(0.0, 2.0 * std::numbers::pi);
    const double decay = std::exp(-1.0 * k / rate * 2.0);
    double amplitude = 1.0 / k;
    for (std::size_t n = 0; n < length; ++n, amplitude *= decay) {
      music[from + n] += amplitude * std::sin(step * static_cast<double>(n) + phase);
    }
  }
}

}  // namespace

std::vector<std::string> hard_kinds() {
  return {
      "background noise", "music behind speech", "several talkers", "onsets", "whispers", "-40 dB",
      "clipped"};
}

Pcm with_noise(const Pcm& speech, std::uint64_t seed) {
  // Five first-order sections a decade apart and white noise: within a decibel of 3 dB an octave.
  Random random(seed);
  constexpr std::array<double, 5> poles = {0.998, 0.98, 0.9, 0.6, 0.2};
  std::array<double, 5> state{};
  Signal noise(speech.size());
  for (double& v : noise) {
    for (std::size_t k = 0; k < poles.size(); ++k) {
      state[k] = poles[k] * state[k] + random.gauss() * std::sqrt(1.0 - poles[k]);
      v += state[k];
    }
  }
  return mixed(speech, noise, noise_db);
}

Pcm with_music(const Pcm& speech, int rate, std::uint64_t seed) {
  Random random(seed);
  Signal music(speech.size());
  constexpr std::array<int, 3> major = {0, 4, 7}, minor = {0, 3, 7};
  for (std::size_t at = 0; at < music.size();) {
    const int root = random.integer(-12, 12);
    for (const int step : random.integer(0, 1) == 0 ? major : minor) {
      strike(music, at, 220.0 * std::pow(2.0, (root + step) / 12.0), rate, random);
    }
    at += static_cast<std::size_t>(rate * random.uniform(0.25, 0.9));
  }
  return mixed(speech, music, music_db);
}

Pcm together(std::span<const Pcm* const> talkers) {
  Signal sum(talkers.front()->size());
  const double loud = level(*talkers.front());
  for (const Pcm* talker : talkers) {
    const double own = level(*talker);
    for (std::size_t n = 0; own > 0.0 && n < sum.size(); ++n) {
      sum[n] += loud / own * (*talker)[n % talker->size()];
    }
  }
  return to_pcm_unclipped(std::move(sum));
}

Pcm in_pieces(const Pcm& speech, int rate, std::uint64_t seed) {
  Random random(seed);
  Pcm out = speech;
  bool silent = true;
  for (std::size_t at = 0; at < out.size(); silent = !silent) {
    const double seconds = silent ? random.uniform(0.05, 0.2) : random.uniform(0.08, 0.25);
    const std::size_t end = std::min(at + static_cast<std::size_t>(seconds * rate), out.size());
    if (silent)
      std::fill(out.begin() + static_cast<std::ptrdiff_t>(at),
                out.begin() + static_cast<std::ptrdiff_t>(end), std::int16_t{0});
    at = end;
  }
  return out;
}

Pcm whispered(const Pcm& speech, int rate, std::uint64_t seed) {
  Random random(seed);
  const Signal x(speech.begin(), speech.end());
  const auto frame = static_cast<std::size_t>(rate / 100);
  const Predictors predictors(x, rate, 0.0);
  Signal y(x.size());
  for (std::size_t n = 0; n < y.size(); n += frame) {
    const Predictor& a = predictors.at(n / frame);
    // As loud as the residual there, then through the prediction.
    const std::size_t end = std::min(n + frame, y.size());
    double energy = 0.0;
    for (std::size_t i = n; i < end; ++i) {
      const double e = a.residual(x, i);
      energy += e * e;
    }
    const double gain = std::sqrt(energy / static_cast<double>(end - n));
    for (std::size_t i = n; i < end; ++i) y[i] = a.synthesis(y, i, gain * random.gauss());
  }
  return to_pcm_unclipped(std::move(y));
}

Pcm quiet(const Pcm& speech) {
  Signal x(speech.begin(), speech.end());
  for (double& v : x) v *= from_db(quiet_db);
  return to_pcm(x);
}

Pcm clipped(const Pcm& speech) {
  Signal x(speech.begin(), speech.end());
  double peak = 1.0;
  for (const double v : x) peak = std::max(peak, std::fabs(v));
  for (double& v : x) v *= from_db(clipping_db) * 32767.0 / peak;
  return to_pcm(x);
}

std::vector<HardSound> hard_set(std::span<const Pcm> recordings, int rate, std::uint64_t seed) {
  const std::size_t count = recordings.size();
  std::vector<HardSound> set;
  const auto kinds = hard_kinds();
  for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
    for (std::size_t k = 0; k < count; ++k) {
      const Pcm& speech = recordings[k];
      const std::uint64_t own = seed + 1000 * kind + k;
      const Pcm* const three[] = {&speech, &recordings[(k + 1) % count],
                                  &recordings[(k + 2) % count]};
      const auto make = [&]() -> Pcm {
        switch (kind) {
          case 0:
            return with_noise(speech, own);
          case 1:
            return with_music(speech, rate, own);
          case 2:
            return together(three);
          case 3:
            return in_pieces(speech, rate, own);
          case 4:
            return whispered(speech, rate, own);
          case 5:
            return quiet(speech);
          default:
            return clipped(speech);
        }
      };
      set.push_back({kinds[kind], make(), kinds[kind] == "-40 dB" ? -quiet_db : 0.0});
    }
  }
  return set;
}

}  // namespace quel::bench
