#include "wideband/pitch_postfilter.h"

#include <algorithm>
#include <tuple>

#include "dsp/scratch.h"

namespace quel::wideband {
namespace {

constexpr int subframe = 80;
constexpr double strength = 0.15;
constexpr double least_likeness = 0.5;  // squared normalised correlation

bool alike(const float* now, const float* then) {
  double product = 0.0, energy_now = 0.0, energy_then = 0.0;
  for (int n = 0; n < subframe; ++n) {
    product += static_cast<double>(now[n]) * then[n];
    energy_now += static_cast<double>(now[n]) * now[n];
    energy_then += static_cast<double>(then[n]) * then[n];
  }
  return product > 0.0 && product * product > least_likeness * energy_now * energy_then;
}

}  // namespace

void postfilter_pitch(PitchPostfilter& state, int lag, float gain_pit, float* s) {
  if (!state.on) return;
  constexpr int past = static_cast<int>(std::tuple_size_v<decltype(state.past)>);
  Scratch all(past + subframe);
  std::copy_n(state.past.data(), past, all.data());
  std::copy_n(s, subframe, all.data() + past);
  std::copy_n(all.data() + subframe, past, state.past.data());
  const float* now = all.data() + past;
  const float* then = now - lag;
  if (!alike(now, then)) return;
  const double g = strength * std::min(gain_pit, 1.0f);
  for (int n = 0; n < subframe; ++n) s[n] = static_cast<float>((now[n] + g * then[n]) / (1.0 + g));
}

}  // namespace quel::wideband
