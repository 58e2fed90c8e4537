#include "wideband/listener.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "dsp/convolve.h"
#include "dsp/lev_dur.h"
#include "dsp/residu.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "dsp/weight_a.h"
#include "wideband/a2lsf.h"
#include "wideband/autocorr16.h"
#include "wideband/lsf2a.h"
#include "wideband/window16.h"

namespace quel::wideband {
namespace {

constexpr int order = 16;
constexpr int span = 480;
constexpr int subframe = 80;
constexpr double tilt = 0.9;
constexpr float zeros_gamma = 0.95f;
constexpr float poles_gamma = 0.4f;

// One all-pole filter of a way; the memory is a copy, since trial filtering leaves it alone.
struct Stage {
  std::array<float, order> memory;
  SynFilt call;

  Stage(const float* a, const float* x, std::array<float, subframe>& y,
        const std::array<float, order>& past)
      : memory(past), call{a, x, y.data(), subframe, memory.data(), 0} {}
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;
};

// What the pre-filter gave, through the zeros.
void through_zeros(const ErrorPath& path, const ErrorMemory& memory, Heard& heard) {
  Scratch x(order + subframe);
  std::copy_n(memory.prefilter.data(), order, x.data());
  std::copy_n(heard.prefilter.data(), subframe, x.data() + order);
  residu16(path.zeros, order, x.data() + order, heard.weighted.data(), subframe);
}

// The last samples of the difference behind a filter with this impulse response.
void difference(const std::array<float, subframe>& target, const std::array<float, subframe>& h,
                const float* exc, std::array<float, order>& out) {
  Scratch y(subframe);
  convolve16(exc, h.data(), y.data(), subframe);
  for (int j = 0; j < order; ++j) {
    const int n = subframe - order + j;
    out[static_cast<std::size_t>(j)] = target[static_cast<std::size_t>(n)] - y[n];
  }
}

}  // namespace

void follow_sound(Listener& listener, const float* x, const float* lag_window) {
  Scratch r(order + 1), between(order + 1), B(order + 1);
  {
    Scratch flat(span);
    for (int n = 0; n < span; ++n) flat[n] = static_cast<float>(x[n] - tilt * x[n - 1]);
    autocorr16(flat.data(), r.data(), order, span, window16.data());
  }
  lag_wind16(lag_window, r.data(), order);
  for (int i = 0; i <= order; ++i) {
    between[i] = 0.5f * listener.last_r[static_cast<std::size_t>(i)] + 0.5f * r[i];
    listener.last_r[static_cast<std::size_t>(i)] = r[i];
  }
  for (const auto& [correlations, at] : {std::pair{between.data(), 0}, {r.data(), order + 1}}) {
    lev_dur(B.data(), correlations, order);
    weight_a(B.data(), listener.zeros.data() + at, zeros_gamma, order);
    weight_a(B.data(), listener.poles.data() + at, poles_gamma, order);
  }
}

void hear(const ErrorPath& path, const ErrorMemory& memory, const float* x, Heard& heard) {
  const auto pass = [](const Stage& s) {
    syn_filt16(s.call.a, order, s.call.x, s.call.y, subframe, s.call.mem, 0);
  };
  pass(Stage(path.synthesis, x, heard.synthesis, memory.synthesis));
  pass(Stage(path.prefilter, heard.synthesis.data(), heard.prefilter, memory.prefilter));
  through_zeros(path, memory, heard);
  pass(Stage(path.poles, heard.weighted.data(), heard.weighted, memory.weighted));
}

void hear_with_impulse(const ErrorPath& path, const ErrorMemory& memory, const float* x,
                       Heard& heard, Heard& impulse) {
  constexpr ErrorMemory silence;
  constexpr std::array<float, subframe> one{1.0f};
  const auto pass = [](const Stage& a, const Stage& b) { syn_filt_both(order, a.call, b.call); };
  pass(Stage(path.synthesis, x, heard.synthesis, memory.synthesis),
       Stage(path.synthesis, one.data(), impulse.synthesis, silence.synthesis));
  pass(Stage(path.prefilter, heard.synthesis.data(), heard.prefilter, memory.prefilter),
       Stage(path.prefilter, impulse.synthesis.data(), impulse.prefilter, silence.prefilter));
  through_zeros(path, memory, heard);
  through_zeros(path, silence, impulse);
  pass(Stage(path.poles, heard.weighted.data(), heard.weighted, memory.weighted),
       Stage(path.poles, impulse.weighted.data(), impulse.weighted, silence.weighted));
}

ErrorMemory heard_error(const Heard& target, const Heard& impulse, const float* exc,
                        const float* error) {
  ErrorMemory memory;
  difference(target.synthesis, impulse.synthesis, exc, memory.synthesis);
  difference(target.prefilter, impulse.prefilter, exc, memory.prefilter);
  std::copy_n(error + subframe - order, order, memory.weighted.begin());
  return memory;
}

}  // namespace quel::wideband
