#pragma once

#include "dsp/lanes.h"
#include "narrowband/six_pulses.h"

// Kernels of the search of six pulses in pulse_search.cpp. Sums are single precision, so nothing is
// fused here.
namespace quel::QUEL_SET {

namespace six_pulses {

constexpr int positions = 48;
constexpr int count = 16;  // positions of a track
constexpr int width = 2 * lanes;
constexpr int parts = count / width;

}  // namespace six_pulses

/// pulse_search.h's `free_pitch_gain`.
static void free_pitch_gain(const float* dn1, float weight, float* phi) {
  using namespace six_pulses;
  for (int i = 0; i < positions; ++i) {
    const Float x = splat<Float>(weight * dn1[i]);
    for (int j = 0; j < positions; j += width) {
      float* const at = phi + i * positions + j;
      store(at, load<Float>(at) - x * load<Float>(dn1 + j));
    }
  }
}

/// pulse_search.h's `best_pulse`.
static int best_pulse(const SixPulseTarget& t, const int* place, const float* sign, int track,
                      const int* barred, float* merit) {
  using namespace six_pulses;
  float numbers[width];
  for (int l = 0; l < width; ++l) numbers[l] = static_cast<float>(l);
  Float largest = splat<Float>(-1.0f), at{};
  Float cross[parts];
  for (int p = 0; p < parts; ++p) {
    cross[p] = Float{};
    for (int k = 0; k < six_pulse_count; ++k) {
      const float* const row = t.phi + place[k] * positions + count * track + p * width;
      cross[p] += splat<Float>(sign[k]) * load<Float>(row);
    }
    cross[p] += cross[p];
  }
  for (int negative = 0; negative < 2; ++negative) {
    for (int p = 0; p < parts; ++p) {
      const int from = count * track + p * width;
      const Float d = load<Float>(t.dn + from);
      const Float alone = splat<Float>(t.alp) + load<Float>(t.energy + from);
      const Float c = negative == 0 ? splat<Float>(t.ps) + d : splat<Float>(t.ps) - d;
      const Float e = negative == 0 ? alone + cross[p] : alone - cross[p];
      const Float value = c * c / e;
      const Float now =
          load<Float>(numbers) + splat<Float>(static_cast<float>(count * negative + p * width));
      FloatMask taken = (c > Float{}) & (e > Float{}) & (value > largest);
      for (int b = 0; b < max_barred; ++b) {
        taken &= now != splat<Float>(static_cast<float>(barred[b]));
      }
      largest = taken ? value : largest;
      at = taken ? now : at;
    }
  }
  float best = largest[0], found = at[0];
  for (int l = 1; l < width; ++l) {
    const bool better = (largest[l] > best) | ((largest[l] == best) & (at[l] < found));
    best = better ? largest[l] : best;
    found = better ? at[l] : found;
  }
  *merit = best;
  return static_cast<int>(found);
}

}  // namespace quel::QUEL_SET
