#include "dsp/level.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "dsp/elementary.h"

namespace quel {

double energy_of(const float* x, int n) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += static_cast<double>(x[i]) * x[i];
  return sum;
}

double energy_of_sum(const float* x, float a, const float* y, float b, int n) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) {
    const double v = static_cast<double>(a) * x[i] + static_cast<double>(b) * y[i];
    sum += v * v;
  }
  return sum;
}

float level_of(double energy, int n) {
  return static_cast<float>(10.0 * log_10(energy / n + 1e-3));
}

float gain_for_level(float level, const float* code, int L) {
  const double mean = energy_of(code, L) / L;
  if (mean == 0.0) return 0.0f;
  return static_cast<float>(std::sqrt(power_of_10(static_cast<double>(level) / 10.0) / mean));
}

void fade(float* x, int n, float from, float to) {
  const float step = (to - from) / static_cast<float>(n);
  for (int i = 0; i < n; ++i) x[i] = x[i] * (from + step * static_cast<float>(i + 1));
}

std::array<double, fall_features> features_of_fall(const ExcitationPast& past, const float* exc,
                                                   int L) {
  const double e1 = level_of(energy_of(exc - L, L), L);
  const double e2 = level_of(energy_of(exc - 2 * L, L), L);
  const double e3 = level_of(energy_of(exc - 3 * L, L), L);
  const double c1 = past.code_energy[0], c2 = past.code_energy[1];
  const auto& gains = past.pitch_gain;
  return {1.0,
          median_pitch_gain(past),
          gains[0],
          std::min(std::min(gains[0], gains[1]), std::min(gains[2], gains[3])),
          static_cast<double>(std::min(std::abs(past.lag[0] - past.lag[1]), 30)),
          e1 - e2,
          e2 - e3,
          std::max(e2 - e1, 0.0),
          std::max(std::min(e2, e3) - e1, 0.0),
          c1 - e1,
          c2 - e2,
          c1 - c2};
}

float Ceiling::at(int i) const {
  return level_of[std::min(static_cast<std::size_t>(i), subframes - 1)];
}

Ceiling ceiling_from(const ExcitationPast& past, const float* exc, int L,
                     const FallWeights* weights, std::size_t subframes, float allowance) {
  Ceiling ceiling;
  ceiling.level = level_of(energy_of(exc - L, L), L);
  ceiling.subframes = subframes;
  const std::array<double, fall_features> features = features_of_fall(past, exc, L);
  for (std::size_t k = 0; k < subframes; ++k) {
    double sum = static_cast<double>(ceiling.level) + allowance;
    for (std::size_t i = 0; i < fall_features; ++i) sum += weights[k][i] * features[i];
    ceiling.level_of[k] = static_cast<float>(sum);
  }
  return ceiling;
}

float held_part(float part, double energy, int L, float ceiling) {
  const double most = power_of_10(static_cast<double>(ceiling) / 10.0) * L;
  if (!(static_cast<double>(part) * part * energy > most)) return part;
  return static_cast<float>(std::sqrt(most / energy));
}

float capped_pitch_gain(float pitch_gain, double adaptive, double code) {
  const double g = std::clamp(static_cast<double>(pitch_gain), 0.0, 1.0);
  const double most = power_of_10((1.0 + 14.0 * g) / 10.0) * code;
  const double now = static_cast<double>(pitch_gain) * pitch_gain * adaptive;
  if (!(now > most)) return pitch_gain;
  return static_cast<float>(pitch_gain * std::sqrt(most / now));
}

}  // namespace quel
