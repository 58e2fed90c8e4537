#include "narrowband/conceal_5k.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "dsp/elementary.h"
#include "dsp/interpol_lpc.h"
#include "dsp/isp2a.h"
#include "dsp/pcm.h"
#include "dsp/scratch.h"
#include "dsp/spread.h"
#include "dsp/syn_filt.h"
#include "dsp/vector.h"
#include "narrowband/d_acb_5k.h"
#include "narrowband/lag_code.h"
#include "narrowband/ltp.h"
#include "narrowband/random_func.h"

namespace quel {
namespace {

constexpr int M = 10;
constexpr int L = 48;
constexpr int subframes = 5;
constexpr int watched_subframes = 10;
constexpr float apart = 100.0f;  // Hz

constexpr FillRule rule = {.voiced_above = 0.5f,
                           .least = 0.0f,
                           .most = 0.95f,
                           .averaged = 2,
                           .unvoiced_change = 0.0f,
                           .drift_span = 5,
                           .drift_limit = 9.0f,
                           .drift_steps = 6,
                           .shortest = 58,
                           .longest = 429};
constexpr float allowance = 4.0f;       // dB above what speech seldom falls to
constexpr float lead_allowance = 3.0f;  // dB above the way to the next frame
constexpr float louder_filter = 2.0f;   // right behind a loss, times the one before it

// Part of the sound that is left after so many lost frames, but for a lone one.
constexpr float left_after[] = {1.0f, 0.9f, 0.5f, 0.15f, 0.0f};
constexpr int longest_run = static_cast<int>(std::size(left_after)) - 1;

float left(int lost) {
  return left_after[std::min(lost, longest_run)];
}

constexpr float energy_weights[][12] = {
#include "narrowband/conceal_energy_5k.inc"
};
constexpr float residual_weights[][3] = {
#include "narrowband/conceal_isf_5k.inc"
};
constexpr FallWeights fall_weights[] = {
#include "narrowband/conceal_fall_5k.inc"
};
static_assert(std::size(energy_weights) == 8 && std::size(residual_weights) == 2);
static_assert(std::size(fall_weights) <= Ceiling::most_subframes);

float impulse_energy(const float* A) {
  std::array<float, L> h{1.0f};
  std::array<float, M> silence{};
  syn_filt(A, M, h.data(), h.data(), L, silence.data(), 0);
  return static_cast<float>(energy_of(h.data(), L));
}

float filter_part(const float* A, float allowed) {
  const float energy = impulse_energy(A);
  return energy > allowed ? std::sqrt(allowed / energy) : 1.0f;
}

// What fills the lost frame, subframe by subframe.
struct Plan {
  std::array<std::int32_t, subframes> lag;
  std::array<float, subframes> pitch_gain;
  std::array<float, subframes> code_level;
  std::array<float, subframes> ceiling;
  bool has_code;
};

Plan plan_from_past(const NarrowbandConcealment& state) {
  Plan plan;
  plan.has_code = state.fill.voiced == 0;
  const int first = state.lost * subframes;
  for (int s = 0; s < subframes; ++s) {
    const auto k = static_cast<std::size_t>(s);
    plan.lag[k] = fill_lag(state.fill, rule, first + s);
    plan.pitch_gain[k] = state.fill.pitch_gain;
    plan.code_level[k] = state.fill.code_energy;
    plan.ceiling[k] = state.ceiling.at(first + s);
  }
  return plan;
}

// To the next frame's first subframe.
Plan plan_to_next(const NarrowbandConcealment& state, const narrowband::FrameClues& clues,
                  const std::array<float, 4>& energies, std::int32_t next) {
  Plan plan;
  plan.has_code = true;
  const bool lone = state.lost == 0;
  const ExcitationPast& past = state.past;
  const bool glides = lone && std::abs(next - past.lag[0]) * 10 < 3 * past.lag[0];
  const float median = median_pitch_gain(past);
  const float gain_from = median > 0.5f ? std::min(median, 0.95f) : median;
  const float gain_to = std::min(clues.pitch_gain, 1.0f);
  const float energy_to = narrowband::code_level(energies, clues.correction[0]);
  // Where it to go on like this, it would reach this level.
  const double steady_gain = std::min(clues.pitch_gain, 0.9f);
  const float level_to =
      energy_to - static_cast<float>(10.0 * log_10(1.0 - steady_gain * steady_gain));
  const float energy_from = 0.5f * (past.code_energy[0] + past.code_energy[1]);
  for (int s = 0; s < subframes; ++s) {
    const auto k = static_cast<std::size_t>(s);
    const float w = static_cast<float>(s + 1) / (subframes + 1);
    if (glides) {
      const float lag =
          static_cast<float>(past.lag[0]) + w * static_cast<float>(next - past.lag[0]);
      plan.lag[k] = static_cast<std::int32_t>(lag + 0.5f);
    } else {
      plan.lag[k] = lone && w <= 0.5f ? past.lag[0] : next;
    }
    plan.pitch_gain[k] = gain_from + w * (gain_to - gain_from);
    plan.code_level[k] = lone ? energy_from + w * (energy_to - energy_from) : energy_to;
    const float way = (1.0f - w) * state.ceiling.level + w * level_to;
    plan.ceiling[k] = std::min(std::max(state.ceiling.at(state.lost * subframes + s), level_to),
                               way + lead_allowance);
    if (plan.pitch_gain[k] > 0.5f) plan.code_level[k] -= 5.0f;
  }
  return plan;
}

// How far the spectrum before the loss tells of the next frame's: of a jump of the level nothing
// can be learnt from it, and a filter that rings where the new sound has none would be loud.
float trust_in_spectrum(const ExcitationPast& past, const std::array<float, 4>& energies,
                        const narrowband::FrameClues& clues) {
  const float up = narrowband::code_level(energies, clues.correction[0]) -
                   std::max(past.code_energy[0], past.code_energy[1]);
  return std::clamp(1.0f - (up - 5.0f) / 6.0f, 0.0f, 1.0f);
}

void set_filters(FiveKDecoder& decoder, const std::array<float, M>& isf, float* A) {
  std::array<float, M> isp = isf;
  spread(isp.data(), M - 1, apart, 4000.0f);
  isp[M - 1] = std::clamp(isp[M - 1], -0.5f * last_isf_scale, 0.8f * last_isf_scale);
  isf_to_isp(isp.data(), isp.data());
  interpol_lpc(isp.data(), decoder.synthesis.isfold.data(), A, subframes);
  decoder.synthesis.isfold = isp;
}

// Frequencies of a frame that nothing leads to.
std::array<float, M> move_spectrum(NarrowbandConcealment& state, const IsfDequantizer& isf) {
  std::array<float, M> frequencies;
  for (std::size_t i = 0; i < M; ++i) {
    float& d = state.deviation[i];
    if (state.lost == 0) {
      d = 0.85f * (isf.past_isf[i] - mean_isf[i]) + 0.04f * isf.past_r[i];
    } else {
      d = 0.95f * d;
    }
    state.residual[i] = d - isf_prediction * state.residual[i];
    frequencies[i] = mean_isf[i] + d;
  }
  return frequencies;
}

// Whether the result was sane.
bool play_subframe(NarrowbandConcealment& state, FiveKDecoder& decoder,
                   NarrowbandDecoderShared& shared, const Mode& mode, const Plan& plan,
                   const float* A, const Pulses& pulses, std::size_t k, float part, float* synth) {
  Scratch code(L);
  float* exc = decoder.synthesis.exc();
  const std::int32_t lag = std::clamp(plan.lag[k], rule.shortest, rule.longest);
  const int T0 = (lag + 1) / 3;
  const float gain_pit = plan.pitch_gain[k];
  decoder.old_pitch = static_cast<float>(lag);
  pred_lt(exc, T0, lag - 3 * T0, L);
  float gain_code = 0.0f;
  set_zero(code.data(), L);
  if (plan.has_code) {
    sharpen_F(mode, T0, pulses.now);
    const auto rebuild = gain_pit >= 0.8f ? dec_acb_2p10b : dec_acb_3p10b;
    rebuild(random_func(shared.seed), pulses.now, code.data());
    gain_code = gain_for_level(plan.code_level[k], code.data(), L);
  }
  const double energy = energy_of_sum(exc, gain_pit, code.data(), gain_code, L);
  const float held =
      held_part(part, energy, L, plan.ceiling[k]) * filter_part(A, state.filter_energy);
  const float before = std::exchange(state.ceiling.part, held);
  return finish_subframe(decoder, shared, mode,
                         {A, code.data(), gain_pit, gain_code, pulses, before, held}, synth);
}

int play(NarrowbandConcealment& state, FiveKDecoder& decoder, NarrowbandDecoderShared& shared,
         const Mode& mode, const Plan& plan, const float* A, float from, float to,
         std::int16_t* synth) {
  Scratch F(2 * L), frame(subframes * L);
  int cleared = 0;
  find_F(mode, A, L, F.data());
  for (int s = 0; s < subframes; ++s) {
    const auto k = static_cast<std::size_t>(s);
    const float* A_s = A + s * (M + 1);
    const Pulses pulses = {F.data() + s % 2 * L, F.data() + (s + 1) % 2 * L,
                           s + 1 < subframes ? A_s + M + 1 : nullptr};
    const float part = from + (to - from) * static_cast<float>(s + 1) / subframes;
    if (!play_subframe(state, decoder, shared, mode, plan, A_s, pulses, k, part,
                       frame.data() + s * L)) {
      ++cleared;
    }
  }
  decoder.old_gain_pit = plan.pitch_gain[subframes - 1];
  float_to_pcm(frame.data(), synth, subframes * L);
  return cleared;
}

}  // namespace

int conceal_5k(NarrowbandConcealment& state, FiveKDecoder& decoder, NarrowbandDecoderShared& shared,
               const Mode& mode, const std::int32_t* next, std::int16_t* synth) {
  Scratch A(subframes * (M + 1));
  if (state.lost == 0) {
    state.fill = fill_from(state.past, rule);
    state.ceiling = ceiling_from(state.past, decoder.synthesis.exc(), L, fall_weights,
                                 std::size(fall_weights), allowance);
    state.residual = shared.isf.past_r;
    isp2a(decoder.synthesis.isfold.data(), A.data(), M);
    state.filter_energy = impulse_energy(A.data());
  }
  if (next == nullptr) {
    set_filters(decoder, move_spectrum(state, shared.isf), A.data());
    const int cleared = play(state, decoder, shared, mode, plan_from_past(state), A.data(),
                             left(state.lost), left(state.lost + 1), synth);
    state.lost = std::min(state.lost + 1, longest_run);
    return cleared;
  }

  const std::size_t kind = state.lost == 0 ? 0 : 1;
  const narrowband::MemoryEstimate weights = {energy_weights + 4 * kind, residual_weights[kind]};
  const narrowband::FrameClues clues = narrowband::clues_of(next, {next[7], next[10], next[13]});
  std::array<float, 10> residual = narrowband::estimate_residual(weights, shared.isf, clues);
  const std::array<float, 4> energies =
      narrowband::estimate_energies(weights, state.past, shared.gains.past_qua_en, clues);
  const float trust = trust_in_spectrum(state.past, energies, clues);
  std::array<float, M> isf;
  for (std::size_t i = 0; i < M; ++i) {
    residual[i] = trust * residual[i];
    isf[i] = mean_isf[i] + residual[i] + isf_prediction * trust * state.residual[i];
  }
  set_filters(decoder, isf, A.data());
  const Lag lag = decode_absolute_lag(next[5]);
  const Plan plan = plan_to_next(state, clues, energies, 3 * lag.T0 + lag.frac);
  const float from = left(state.lost), to = state.lost == 0 ? 1.0f : left(state.lost + 1);
  const int cleared = play(state, decoder, shared, mode, plan, A.data(), from, to, synth);

  shared.isf.past_r = residual;
  shared.gains.past_qua_en = energies;
  for (float& x : decoder.synthesis.old_exc) x *= to;
  state.lost = 0;
  state.first_good = 1;
  state.watched = watched_subframes;
  return cleared;
}

float filter_part(const NarrowbandConcealment& state, const float* A) {
  return state.first_good != 0 ? filter_part(A, louder_filter * state.filter_energy) : 1.0f;
}

void spread_isp(const IsfDequantizer& isf, float* isp) {
  std::copy(isf.past_isf.begin(), isf.past_isf.end(), isp);
  spread(isp, M - 1, apart, 4000.0f);
  isf_to_isp(isp, isp);
}

}  // namespace quel
