#include "narrowband/conceal.h"

#include <algorithm>
#include <cstddef>

#include "narrowband/gain_tables.h"

namespace quel {
namespace {

constexpr int L = 48;

// dB by which the energies lie below their estimates, and which they lose for each dB more than
// `surprise` by which the frame behind a loss claims to be louder than the one before.
constexpr double caution = 1.0;
constexpr double surprise = 8.0;
constexpr double doubt = 0.7;

}  // namespace

float take_subframe(NarrowbandConcealment& state, const GainDequantizer& gains,
                    const std::array<float, 4>& energies_before, std::int32_t lag,
                    const float* adaptive, const float* code) {
  float gain_pit = gains.last_gain_pit;
  if (state.watched > 0) {
    --state.watched;
    const double gain_code = gains.last_gain_code;
    gain_pit = capped_pitch_gain(gain_pit, energy_of(adaptive, L),
                                 gain_code * gain_code * energy_of(code, L));
  }
  remember(state.past, lag, gain_pit,
           narrowband::code_level(energies_before, gains.past_qua_en[0]));
  return gain_pit;
}

void pass_noise(NarrowbandConcealment& state, const float* exc) {
  remember_noise(state.past, level_of(energy_of(exc - L, L), L));
  state.lost = 0;
  state.watched = 0;
}

namespace narrowband {

FrameClues clues_of(const std::int32_t* indices, const std::array<std::int32_t, 3>& gain_index) {
  FrameClues clues;
  isf_residual(indices, clues.residual.data());
  for (std::size_t s = 0; s < gain_index.size(); ++s) {
    const GainRow row = gain_row(gain_index[s]);
    if (s == 0) clues.pitch_gain = row.pitch_gain;
    clues.correction[s] = row.correction;
  }
  return clues;
}

namespace {

// How much louder than before the loss the new frame's code becomes, dB, behind these energies.
float rise(const ExcitationPast& past, std::array<float, 4> energies, const FrameClues& clues) {
  const float before = std::max(past.code_energy[0], past.code_energy[1]);
  float loudest = code_level(energies, clues.correction[0]);
  for (std::size_t s = 1; s < clues.correction.size(); ++s) {
    push_energy(energies, clues.correction[s - 1]);
    loudest = std::max(loudest, code_level(energies, clues.correction[s]));
  }
  return loudest - before;
}

}  // namespace

std::array<float, 4> estimate_energies(const MemoryEstimate& weights, const ExcitationPast& past,
                                       const std::array<float, 4>& past_qua_en,
                                       const FrameClues& clues) {
  const double features[12] = {1.0,
                               past.code_energy[0],
                               past.code_energy[1],
                               past.code_energy[2],
                               past_qua_en[0],
                               past_qua_en[1],
                               past_qua_en[2],
                               clues.correction[0],
                               clues.correction[1],
                               clues.correction[2],
                               past.pitch_gain[0],
                               clues.pitch_gain};
  std::array<float, 4> energies;
  for (std::size_t j = 0; j < energies.size(); ++j) {
    double sum = -caution;
    for (std::size_t i = 0; i < 12; ++i) sum += weights.energies[j][i] * features[i];
    energies[j] = hold_correction(static_cast<float>(sum));
  }
  const double up = rise(past, energies, clues);
  if (up <= surprise) return energies;
  double share = 0.0;
  for (const float p : pred) share += p;
  for (float& energy : energies) {
    energy = hold_correction(static_cast<float>(energy - doubt * (up - surprise) / share));
  }
  return energies;
}

std::array<float, 10> estimate_residual(const MemoryEstimate& weights, const IsfDequantizer& isf,
                                        const FrameClues& clues) {
  std::array<float, 10> residual;
  for (std::size_t i = 0; i < residual.size(); ++i) {
    const double deviation = static_cast<double>(isf.past_isf[i]) - mean_isf[i];
    const double sum = weights.residual[0] * deviation +
                       static_cast<double>(weights.residual[1]) * isf.past_r[i] +
                       static_cast<double>(weights.residual[2]) * clues.residual[i];
    residual[i] = static_cast<float>(sum);
  }
  hold_residual(residual.data());
  return residual;
}

float code_level(const std::array<float, 4>& energies_before, float correction) {
  double sum = 34.0;
  for (std::size_t i = 0; i < 4; ++i) sum += static_cast<double>(pred[i]) * energies_before[i];
  return static_cast<float>(sum + correction);
}

}  // namespace narrowband
}  // namespace quel
