#include "wideband/comfort16.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "dsp/elementary.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "dsp/vector.h"
#include "wideband/lsf2a.h"
#include "wideband/lsf_tables.h"

namespace quel {
namespace {

constexpr int order = 16;
constexpr int frame = 160;
constexpr int subframe = 80;

// Filters of both subframes; the predictors as after many frames of this background.
void set_spectrum(const Background& background, WidebandDecoder& state, float* Az) {
  Scratch lsp(order);
  for (std::size_t i = 0; i < lsf_order; ++i) {
    const float hz = background.frequencies[i];
    state.lsf.past_lsf_q[i] = hz;
    state.lsf.past_q_target[i] = hz - mean_lsf[i];
    lsp[static_cast<int>(i)] = static_cast<float>(cosine(hz * hz_to_lsp));
  }
  state.gains.past_qua_en.fill(background.correction);
  int_lpc(state.old_lsp.data(), lsp.data(), Az, order);
  std::copy_n(lsp.data(), order, state.old_lsp.begin());
}

// Excitation whose sound has this level behind the inverse pre-filter, too.
void excite(ComfortNoise& noise, const float* A, const float* Aw, float level, float* exc) {
  Scratch response(frame);
  std::array<float, order> first{}, second{};
  set_zero(response.data(), frame);
  response[0] = 1.0f;
  syn_filt16(A, order, response.data(), response.data(), frame, first.data(), 0);
  syn_filt16(Aw, order, response.data(), response.data(), frame, second.data(), 0);
  noise_for_level(noise.random, response.data(), frame, level, exc, subframe);
}

}  // namespace

void hear_wideband(ComfortNoise& noise, const WidebandDecoder& state, const std::int16_t* pcm) {
  const auto& corrections = state.gains.past_qua_en;
  hear_frame(noise, pcm, frame, state.lsf.past_lsf_q.data(), order,
             0.5f * (corrections[0] + corrections[1]));
}

int comfort_wb(WidebandDecoder& state, ComfortNoise& noise, std::int16_t* out) {
  Scratch Az(2 * (order + 1)), Aw(order + 1), synth(frame);
  const Background& background = next_background(noise);
  set_spectrum(background, state, Az.data());
  inverse_prefilter(state, Aw.data());
  int cleared = 0;
  for (int k = 0; k < 2; ++k) {
    const float* A = Az.data() + k * (order + 1);
    float* exc = state.exc.data() + WidebandDecoder::past + k * subframe;
    excite(noise, A, Aw.data(), background.level, exc);
    // Noise has no pitch: the pitch postfilter, where it is on, only takes note.
    const bool sane =
        finish_subframe16(state, A, Aw.data(), k, subframe, 0.0f, exc, synth.data() + k * subframe);
    if (!sane) ++cleared;
  }
  finish_frame16(state, Az.data() + order + 1, Aw.data(), synth.data(), out);
  return cleared;
}

}  // namespace quel
