#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <utility>
#include <vector>

#include "dsp/convolve.h"
#include "dsp/syn_filt.h"
#include "dsp/weight_a.h"
#include "support/signals.h"

namespace quel::test {

/// What an encoder hands to a codebook search.
struct AcbSubframe {
  float h[48];   ///< impulse response
  float x2[48];  ///< target
  float dn[48];  ///< x2 filtered backwards through h
  float res[48];
};

/// A subframe like those of speech: h decays, x2 is what noise, sometimes with a few strong pulses,
/// leaves behind h, and res is that excitation with some noise.
inline AcbSubframe acb_subframe(unsigned seed) {
  Random random(seed);
  AcbSubframe s = {};
  const std::vector<float> a = stable_filter(10, seed);
  float weighted[11], mem[10] = {}, excitation[48];
  pondai(a.data(), weighted, static_cast<float>(random.uniform(0.6, 0.95)), 10);
  s.h[0] = 1.0f;
  syn_filt(weighted, 10, s.h, s.h, 48, mem, 0);
  for (float& e : excitation) e = static_cast<float>(100 * random.gauss());
  for (int i = random.integer(0, 4); i > 0; --i) {
    excitation[random.integer(0, 47)] += static_cast<float>(random.uniform(-800, 800));
  }
  convolve(excitation, s.h, s.x2, 48);
  for (int n = 0; n < 48; ++n) {
    s.res[n] = excitation[n] + static_cast<float>(30 * random.gauss());
  }
  backfil2(s.x2, s.dn, s.h, 48);
  return s;
}

/// The merit that every search raises: <x2, y>^2 / |y|^2, the part of the target's energy that the
/// filtered code vector y [0..47] can take away.
inline double acb_merit(const float* x2, const float* y) {
  double xy = 0, yy = 0;
  for (int n = 0; n < 48; ++n) {
    xy += static_cast<double>(x2[n]) * y[n];
    yy += static_cast<double>(y[n]) * y[n];
  }
  return yy > 0 ? xy * xy / yy : 0;
}

/// Unit impulse response: pulses do not overlap, so a search can give back the very pulses of its
/// target.
inline constexpr float acb_delta[48] = {1.0f};

/// 48 samples with the given amplitudes added at the given positions.
inline std::vector<float> pulses(std::initializer_list<std::pair<int, float>> list) {
  std::vector<float> out(48);
  for (const auto& [position, amplitude] : list) {
    out[static_cast<std::size_t>(position)] += amplitude;
  }
  return out;
}

/// A subframe that no encoder should produce: each kind puts other non-finite, huge, tiny or zero
/// values in its arrays.
inline AcbSubframe absurd_acb_subframe(int kind) {
  constexpr float inf = std::numeric_limits<float>::infinity();
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  constexpr float values[] = {0, inf, -inf, nan, 3e38f, -3e38f, 1e-45f, 1};
  AcbSubframe s = acb_subframe(7);
  Random random(static_cast<unsigned>(kind));
  for (float* array : {s.h, s.dn, s.res}) {
    const float value = values[random.integer(0, 7)];
    switch (random.integer(0, 2)) {
      case 0:
        std::fill_n(array, 48, value);
        break;
      case 1:
        for (int i = random.integer(0, 20); i > 0; --i) array[random.integer(0, 47)] = value;
        break;
      default:
        break;
    }
  }
  return s;
}

}  // namespace quel::test
