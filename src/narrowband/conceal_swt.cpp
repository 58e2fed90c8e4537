#include "narrowband/conceal_swt.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <utility>

#include "dsp/interpol_lpc.h"
#include "dsp/pcm.h"
#include "dsp/scratch.h"
#include "dsp/vector.h"
#include "narrowband/d_acb.h"
#include "narrowband/find_F.h"
#include "narrowband/ltp.h"
#include "narrowband/random_func.h"
#include "narrowband/reorder_isf.h"

namespace quel {
namespace {

constexpr int M = 10;
constexpr int L = 48;
constexpr int subframes = 3;
constexpr int watched_subframes = 6;

constexpr FillRule rule = {.voiced_above = 0.6f,
                           .least = 0.8f,
                           .most = 0.95f,
                           .averaged = 1,
                           .unvoiced_change = 0.0f,
                           .drift_span = 5,
                           .drift_limit = 9.0f,
                           .drift_steps = 6,
                           .shortest = 58,
                           .longest = 429};
constexpr float allowance = 0.7f;  // dB above what speech seldom falls to

// Part of the sound that is left after so many lost frames.
constexpr float left_after[] = {1.0f, 0.9f, 0.8f, 0.65f, 0.5f, 0.3f, 0.15f, 0.05f, 0.0f};
constexpr int longest_run = static_cast<int>(std::size(left_after)) - 1;

// The same at the end of subframe s of the frame after that.
float left_within(int lost, int s) {
  const float from = left_after[lost], to = left_after[std::min(lost + 1, longest_run)];
  return from + (to - from) * static_cast<float>(s + 1) / subframes;
}

constexpr float energy_weights[][12] = {
#include "narrowband/conceal_energy_swt.inc"
};
constexpr float residual_weights[][3] = {
#include "narrowband/conceal_isf_swt.inc"
};
constexpr FallWeights fall_weights[] = {
#include "narrowband/conceal_fall_swt.inc"
};
static_assert(std::size(energy_weights) == 8 && std::size(residual_weights) == 2);
static_assert(std::size(fall_weights) <= Ceiling::most_subframes);

// A step from what was played last towards the mean, and the filters of it.
void move_spectrum(NarrowbandConcealment& state, SwtDecoder& decoder, const IsfDequantizer& isf,
                   float* A) {
  const float kept = state.lost == 0 ? 0.9f : 0.95f;
  std::array<float, M> frequencies, isp;
  for (std::size_t i = 0; i < M; ++i) {
    if (state.lost == 0) state.deviation[i] = isf.past_isf[i] - mean_isf[i];
    state.deviation[i] = kept * state.deviation[i];
    frequencies[i] = mean_isf[i] + state.deviation[i];
  }
  isf_to_isp(frequencies.data(), isp.data());
  interpol_lpc(isp.data(), decoder.synthesis.isfold.data(), A, subframes);
  std::copy_n(isp.data(), M, decoder.synthesis.isfold.data());
}

void random_code(NarrowbandDecoderShared& shared, std::int32_t mode, const float* F, float* code) {
  std::int32_t track[3];
  for (std::int32_t& word : track) word = random_func(shared.seed);
  (mode == 0 ? dec_ACB_15 : dec_ACB_27)(track, F, code);
}

// Whether the result was sane.
bool fill_subframe(NarrowbandConcealment& state, SwtDecoder& decoder,
                   NarrowbandDecoderShared& shared, const Mode& mode, const float* A,
                   const Pulses& pulses, int s, float* synth) {
  Scratch code(L);
  const Fill& fill = state.fill;
  const int place = state.lost * subframes + s;
  float* exc = decoder.synthesis.exc();
  decoder.old_pitch = fill_lag(fill, rule, place);
  const int T0 = (decoder.old_pitch + 1) / 3;
  pred_lt(exc, T0, decoder.old_pitch - 3 * T0, L);
  float gain_code = 0.0f;
  set_zero(code.data(), L);
  if (fill.voiced == 0) {
    sharpen_F(mode, T0, pulses.now);
    random_code(shared, decoder.last_mode, pulses.now, code.data());
    gain_code = gain_for_level(fill.code_energy, code.data(), L);
  }
  const float before = std::exchange(
      state.ceiling.part, held_part(left_within(state.lost, s),
                                    energy_of_sum(exc, fill.pitch_gain, code.data(), gain_code, L),
                                    L, state.ceiling.at(place)));
  return finish_subframe(
      decoder, shared,
      {A, code.data(), fill.pitch_gain, gain_code, pulses, before, state.ceiling.part}, synth);
}

// The spectrum before a lone lost frame, where the next frame's filters are interpolated from.
void set_isp_before(SwtDecoder& decoder, const std::array<float, 10>& residual,
                    const std::array<float, 10>& residual_before) {
  std::array<float, M> isf;
  for (std::size_t i = 0; i < M; ++i) {
    isf[i] = static_cast<float>(static_cast<double>(isf_prediction) * residual_before[i] +
                                residual[i] + mean_isf[i]);
  }
  reorder_isf(isf.data(), isf_min_dist, M, last_isf_scale);
  isf_to_isp(isf.data(), decoder.synthesis.isfold.data());
}

}  // namespace

int conceal_swt(NarrowbandConcealment& state, SwtDecoder& decoder, NarrowbandDecoderShared& shared,
                const Mode& mode, std::int16_t* synth) {
  Scratch A(subframes * (M + 1)), F(2 * L), frame(subframes * L);
  if (state.lost == 0) {
    state.fill = fill_from(state.past, rule);
    state.ceiling = ceiling_from(state.past, decoder.synthesis.exc(), L, fall_weights,
                                 std::size(fall_weights), allowance);
  }
  move_spectrum(state, decoder, shared.isf, A.data());
  int cleared = 0;
  find_F(mode, A.data(), L, F.data());
  for (int s = 0; s < subframes; ++s) {
    const Pulses pulses = {F.data() + s % 2 * L, F.data() + (s + 1) % 2 * L,
                           s + 1 < subframes ? A.data() + (s + 1) * (M + 1) : nullptr};
    const bool sane = fill_subframe(state, decoder, shared, mode, A.data() + s * (M + 1), pulses, s,
                                    frame.data() + s * L);
    if (!sane) ++cleared;
  }
  float_to_pcm(frame.data(), synth, subframes * L);
  state.lost = std::min(state.lost + 1, longest_run);
  return cleared;
}

void meet_swt(NarrowbandConcealment& state, SwtDecoder& decoder, NarrowbandDecoderShared& shared,
              const std::int32_t* prm) {
  state.heard = 1;
  if (state.lost == 0) return;
  const std::size_t kind = state.lost == 1 ? 0 : 1;
  const narrowband::MemoryEstimate weights = {energy_weights + 4 * kind, residual_weights[kind]};
  const narrowband::FrameClues clues = narrowband::clues_of(prm + 1, {prm[10], prm[15], prm[20]});
  const std::array<float, 10> residual = narrowband::estimate_residual(weights, shared.isf, clues);
  if (state.lost == 1) set_isp_before(decoder, residual, shared.isf.past_r);
  shared.isf.past_r = residual;
  shared.gains.past_qua_en =
      narrowband::estimate_energies(weights, state.past, shared.gains.past_qua_en, clues);
  for (float& x : decoder.synthesis.old_exc) x *= left_after[state.lost - 1];
  state.lost = 0;
  state.watched = watched_subframes;
}

}  // namespace quel
