#include "narrowband/postfilter_5k.h"

#include <algorithm>
#include <array>

#include "dsp/residu.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "dsp/weight_a.h"

namespace quel {
namespace {

constexpr int M = 10;
constexpr int L = 48;
constexpr int past = EnhancedPostfilter::past;
constexpr int around = 3;  // lags tried on both sides
constexpr int shortest_lag = 17;
constexpr float zeros_gamma = 0.70f;
constexpr float poles_gamma = 0.60f;
constexpr double long_term = 0.3;
constexpr double least_likeness = 0.5;  // squared normalised correlation
constexpr double tilt = 0.5;
constexpr int response = 22;  // samples of the formant filter's response that tell its tilt
constexpr float gain_step = 0.985f;

/// The residual a lag later, if it is like itself there.
struct LongTerm {
  const float* then = nullptr;
  double gain = 0.0;
};

LongTerm find_harmonics(const float* r, int T0) {
  const int longest = std::min(T0 + around, past);
  int lag = longest;
  double best = -1.0, energy = 1.0, now = 0.0;
  for (int n = 0; n < L; ++n) now += static_cast<double>(r[n]) * r[n];
  for (int t = std::max(T0 - around, shortest_lag); t <= longest; ++t) {
    double product = 0.0, then = 0.0;
    for (int n = 0; n < L; ++n) {
      product += static_cast<double>(r[n]) * r[n - t];
      then += static_cast<double>(r[n - t]) * r[n - t];
    }
    // The largest product^2 / then takes most out of the residual.
    if (product > 0.0 && product * product * energy > best * then) {
      best = product * product;
      energy = then;
      lag = t;
    }
  }
  if (!(best > least_likeness * now * energy)) return {};
  return {r - lag, long_term * std::min(1.0, best / (now * energy))};
}

/// Coefficient of the tilt filter: the first reflection coefficient of the formant filter.
double tilt_of(const float* zeros, const float* poles) {
  Scratch h(response), memory(M);
  std::fill_n(h.data(), response, 0.0f);
  std::copy_n(zeros, M + 1, h.data());
  std::fill_n(memory.data(), M, 0.0f);
  syn_filt(poles, M, h.data(), h.data(), response, memory.data(), 0);
  double r0 = 0.0, r1 = 0.0;
  for (int n = 0; n < response; ++n) {
    r0 += static_cast<double>(h[n]) * h[n];
    if (n > 0) r1 += static_cast<double>(h[n]) * h[n - 1];
  }
  return tilt * r1 / r0;
}

}  // namespace

void init_enhanced_postfilter(EnhancedPostfilter& state) {
  const std::int32_t on = state.on;
  state = {};
  state.on = on;
  init_agc(state.gain_control);
}

void postfilter_enhanced(EnhancedPostfilter& state, const float* A, int T0, const float* enhanced,
                         const float* reference, float* out) {
  Scratch zeros(M + 1), poles(M + 1), plain(M + L), residual(past + L);
  weight_a(A, zeros.data(), zeros_gamma, M);
  weight_a(A, poles.data(), poles_gamma, M);

  std::copy_n(state.mem_plain.data(), M, plain.data());
  syn_filt(A, M, enhanced, plain.data() + M, L, state.mem_plain.data(), 1);
  float* r = residual.data() + past;
  std::copy_n(state.residual.data(), past, residual.data());
  residu(zeros.data(), M, plain.data() + M, r, L);
  std::copy_n(residual.data() + L, past, state.residual.data());

  const LongTerm harmonics = find_harmonics(r, T0);
  for (int n = 0; n < L; ++n) {
    const double then = harmonics.gain > 0.0 ? harmonics.then[n] : 0.0;
    out[n] = static_cast<float>((r[n] + harmonics.gain * then) / (1.0 + harmonics.gain));
  }
  syn_filt(poles.data(), M, out, out, L, state.mem_formant.data(), 1);
  const double back = tilt_of(zeros.data(), poles.data());
  for (int n = 0; n < L; ++n) {
    const float now = out[n];
    out[n] = static_cast<float>(now - back * state.last);
    state.last = now;
  }
  agc(state.gain_control, reference, out, L, gain_step);
}

}  // namespace quel
