#include "wideband/conceal_wb.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <utility>

#include "dsp/scratch.h"
#include "wideband/gain_tables16.h"
#include "wideband/lsf2a.h"
#include "wideband/lsf_tables.h"
#include "wideband/pred_lt16.h"

namespace quel {
namespace {

constexpr int order = 16;
constexpr int frame = 160;
constexpr int L = 80;
constexpr int watched_subframes = 6;
constexpr int longest_run = 13;

constexpr FillRule rule = {.voiced_above = 0.4f,
                           .least = 0.9f,
                           .most = 1.0f,
                           .averaged = 2,
                           .unvoiced_change = -6.0f,
                           .drift_span = 4,
                           .drift_limit = 12.0f,
                           .drift_steps = 4,
                           .shortest = 90,
                           .longest = 843};
constexpr float allowance = 0.5f;  // dB above what speech seldom falls to

// dB by which the energies lie below their estimates, and which they lose for each dB more than
// `surprise` by which the frame behind a loss claims to be louder than the one before.
constexpr float caution = 2.0f;
constexpr float surprise = 4.0f;
constexpr float doubt = 0.7f;

// Part of the sound that is left after so many lost frames: 0.87 a frame, and a line to 0 from the
// fifth to the thirteenth.
float left(int lost) {
  float part = std::clamp(static_cast<float>(longest_run - lost) / 8.0f, 0.0f, 1.0f);
  for (int i = 0; i < lost; ++i) part *= 0.87f;
  return part;
}

constexpr float energy_weights[][11] = {
#include "wideband/conceal_energy_wb.inc"
};
constexpr float lsf_weights[][3] = {
#include "wideband/conceal_lsf_wb.inc"
};
constexpr FallWeights fall_weights[] = {
#include "wideband/conceal_fall_wb.inc"
};
static_assert(std::size(energy_weights) == 4 && std::size(lsf_weights) == 4);
static_assert(std::size(fall_weights) <= Ceiling::most_subframes);

float weighted(const float (&weights)[3], float deviation, float residual, float next) {
  return static_cast<float>(static_cast<double>(weights[0]) * deviation +
                            static_cast<double>(weights[1]) * residual +
                            static_cast<double>(weights[2]) * next);
}

// A step from what was played last towards the mean, and the filters of it.
void move_spectrum(WidebandConcealment& state, WidebandDecoder& decoder, float* Az) {
  std::array<float, order> lsp;
  for (std::size_t i = 0; i < order; ++i) {
    if (state.lost == 0) state.deviation[i] = decoder.lsf.past_lsf_q[i] - mean_lsf[i];
    state.deviation[i] = 0.95f * state.deviation[i];
    lsp[i] = mean_lsf[i] + state.deviation[i];
  }
  lsf_to_lsp(lsp.data(), wideband::concealed_lsf_min_dist, lsp.data());
  int_lpc(decoder.old_lsp.data(), lsp.data(), Az, order);
  decoder.old_lsp = lsp;
}

// White noise of -1..1.
void noise(std::uint32_t& random, float* x) {
  for (int n = 0; n < L; ++n) {
    random = random * 1103515245u + 12345u;
    x[n] = static_cast<float>(static_cast<std::int32_t>(random >> 16) - 32768) * 0x1p-15f;
  }
}

// Within the range of the table.
float hold_correction(float energy) {
  return std::clamp(energy, wideband::code_gain_db(0), wideband::code_gain_db(31));
}

struct Clues {
  std::array<float, order> residual;
  std::array<float, 2> correction;  // of its code gains, dB
  float pitch_gain;                 // its first
};

Clues clues_of(const std::int32_t* prm) {
  Clues clues;
  lsf_residual(prm + 1, clues.residual.data());
  clues.correction = {wideband::code_gain_db(prm[14] & 31), wideband::code_gain_db(prm[22] & 31)};
  clues.pitch_gain = wideband::qua_gain_pitch[static_cast<std::size_t>(prm[8] & 15)];
  return clues;
}

std::array<float, 2> estimate_energies(const float (*weights)[11], const ExcitationPast& past,
                                       const std::array<float, 3>& q, const Clues& clues) {
  const double features[11] = {1.0,
                               past.code_energy[0],
                               past.code_energy[1],
                               past.code_energy[2],
                               q[0],
                               q[1],
                               q[2],
                               clues.correction[0],
                               clues.correction[1],
                               past.pitch_gain[0],
                               clues.pitch_gain};
  std::array<float, 2> energies;
  for (std::size_t j = 0; j < 2; ++j) {
    double sum = -static_cast<double>(caution);
    for (std::size_t i = 0; i < 11; ++i) sum += weights[j][i] * features[i];
    energies[j] = hold_correction(static_cast<float>(sum));
  }
  return energies;
}

// How much louder than before the loss the new frame's code begins, dB, behind these energies.
float rise(const ExcitationPast& past, const std::array<float, 2>& energies, const Clues& clues) {
  return wideband::code_level(energies, clues.correction[0]) -
         std::max(past.code_energy[0], past.code_energy[1]);
}

// An excitation of 80 samples: the past, and noise where it was not voiced.
void fill_excitation(WidebandConcealment& state, WidebandDecoder& decoder, int place, float* exc) {
  const Fill& fill = state.fill;
  const std::int32_t lag = fill_lag(fill, rule, place);
  decoder.lag.old_T0 = (lag + 1) / 3;
  pred_lt16(exc, decoder.lag.old_T0, lag - 3 * decoder.lag.old_T0, L);
  for (int n = 0; n < L; ++n) exc[n] = fill.pitch_gain * exc[n];
  if (fill.voiced != 0) return;
  Scratch code(L);
  noise(decoder.random, code.data());
  const float gain = gain_for_level(fill.code_energy, code.data(), L);
  for (int n = 0; n < L; ++n) {
    exc[n] = static_cast<float>(exc[n] + static_cast<double>(gain) * code[n]);
  }
}

}  // namespace

int conceal_wb(WidebandConcealment& state, WidebandDecoder& decoder, std::int16_t* out) {
  Scratch Az(2 * (order + 1)), Aw(order + 1), synth(frame), heard(L);
  float* exc = decoder.exc.data() + WidebandDecoder::past;
  if (state.lost == 0) {
    state.fill = fill_from(state.past, rule);
    state.ceiling =
        ceiling_from(state.past, exc, L, fall_weights, std::size(fall_weights), allowance);
  }
  move_spectrum(state, decoder, Az.data());
  inverse_prefilter(decoder, Aw.data());
  const float from = left(state.lost), to = left(std::min(state.lost + 1, longest_run));
  int cleared = 0;
  for (int s = 0; s < 2; ++s, exc += L) {
    const int place = 2 * state.lost + s;
    fill_excitation(state, decoder, place, exc);
    const float part =
        held_part(s == 0 ? 0.5f * (from + to) : to, energy_of(exc, L), L, state.ceiling.at(place));
    std::copy_n(exc, L, heard.data());
    fade(heard.data(), L, std::exchange(state.ceiling.part, part), part);
    // What is made up is not enhanced: the pitch postfilter, where it is on, only takes note.
    const bool sane = finish_subframe16(decoder, Az.data() + s * (order + 1), Aw.data(), s, L, 0.0f,
                                        heard.data(), synth.data() + s * L);
    if (!sane) ++cleared;
  }
  finish_frame16(decoder, Az.data() + order + 1, Aw.data(), synth.data(), out);
  state.lost = std::min(state.lost + 1, longest_run);
  return cleared;
}

void pass_noise16(WidebandConcealment& state, const WidebandDecoder& decoder) {
  const float* exc = decoder.exc.data() + WidebandDecoder::past;
  remember_noise(state.past, level_of(energy_of(exc - L, L), L));
  state.third_correction = decoder.gains.past_qua_en[1];
  state.lost = 0;
  state.watched = 0;
}

void meet_wb(WidebandConcealment& state, WidebandDecoder& decoder, const std::int32_t* prm) {
  state.heard = 1;
  if (state.lost == 0) return;
  const std::size_t kind = state.lost == 1 ? 0 : 1;
  const Clues clues = clues_of(prm);
  const auto& q = decoder.gains.past_qua_en;
  const std::array<float, 2> energies = estimate_energies(
      energy_weights + 2 * kind, state.past, {q[0], q[1], state.third_correction}, clues);
  const float up = rise(state.past, energies, clues);
  const float excess = std::max(up - surprise, 0.0f);
  for (std::size_t j = 0; j < 2; ++j) {
    decoder.gains.past_qua_en[j] =
        hold_correction(energies[j] - doubt * excess / (wideband::pred[0] + wideband::pred[1]));
  }
  // Of a jump of the level nothing can be learnt from the spectrum before it.
  const float trusted = std::clamp(1.0f - (up - 10.0f) / 6.0f, 0.0f, 1.0f);
  std::array<float, order> before;
  LsfDequantizer& lsf = decoder.lsf;
  for (std::size_t i = 0; i < order; ++i) {
    const float deviation = lsf.past_lsf_q[i] - mean_lsf[i], residual = lsf.past_q_target[i];
    before[i] = mean_lsf[i] + trusted * weighted(lsf_weights[2 * kind + 1], deviation, residual,
                                                 clues.residual[i]);
    lsf.past_q_target[i] =
        trusted * weighted(lsf_weights[2 * kind], deviation, residual, clues.residual[i]);
  }
  hold_lsf_residual(lsf.past_q_target.data());
  lsf_to_lsp(before.data(), wideband::concealed_lsf_min_dist, decoder.old_lsp.data());
  for (float& x : decoder.exc) x *= left(state.lost);
  state.lost = 0;
  state.first_good = 1;
  state.watched = watched_subframes;
}

float take_subframe16(WidebandConcealment& state, const GainDequantizer16& gains,
                      const std::array<float, 2>& energies_before, std::int32_t lag, float gain_pit,
                      const float* adaptive, const float* code) {
  float used = gain_pit;
  if (state.watched > 0) {
    --state.watched;
    const double gain_code = gains.past_gain_code;
    used = capped_pitch_gain(gain_pit, energy_of(adaptive, L),
                             gain_code * gain_code * energy_of(code, L));
  }
  state.third_correction = energies_before[1];
  remember(state.past, lag, used, wideband::code_level(energies_before, gains.past_qua_en[0]));
  return used;
}

}  // namespace quel
