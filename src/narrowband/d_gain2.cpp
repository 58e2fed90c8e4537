#include "narrowband/d_gain2.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

#include "narrowband/gain_tables.h"

namespace quel {
namespace {

using narrowband::nb_qua_gain;

// {pitch gain, code-gain correction}
constexpr float t_qua_gain[][2] = {
#include "narrowband/t_qua_gain.inc"
};
static_assert(std::size(t_qua_gain) == nb_qua_gain);
static_assert(narrowband::rows_rise(t_qua_gain), "the search counts on rising pitch gains");

// What each row's correction leaves in the memory of the energies.
constexpr std::array<float, nb_qua_gain> row_energy = [] {
  std::array<float, nb_qua_gain> energy{};
  for (std::size_t i = 0; i < energy.size(); ++i) {
    energy[i] = narrowband::correction_energy(t_qua_gain[i][1]);
  }
  return energy;
}();

struct Range {
  float least, most;
};
constexpr Range correction_range = [] {
  Range range{t_qua_gain[0][1], t_qua_gain[0][1]};
  for (const auto& row : t_qua_gain) {
    range.least = std::min(range.least, row[1]);
    range.most = std::max(range.most, row[1]);
  }
  return range;
}();

float conceal_pitch_gain(GainDequantizer& state, float target, int bfi, int i_subfr,
                         float fac_inter_var) {
  if (bfi != 1) {
    state.last_gain_pit = 0.9f * state.last_gain_pit;
    if (state.last_gain_pit > 1.0f) state.last_gain_pit = 1.0f;
    return state.last_gain_pit;
  }
  if (i_subfr == 0) {
    state.step =
        static_cast<float>((static_cast<double>(target) - state.last_gain_pit) * fac_inter_var);
  }
  state.last_gain_pit += state.step;
  return state.last_gain_pit > 1.0f ? 1.0f : state.last_gain_pit;
}

// The factor stands on the sum of the four, not on their mean: -14 dB, the start value, is then
// where a run of lost frames ends.
float conceal_energy(const std::array<float, 4>& past_qua_en) {
  double sum = 0.0;
  for (const float energy : past_qua_en) sum += energy;
  return static_cast<float>(static_cast<double>(0.2f) * sum - static_cast<double>(2.8f));
}

}  // namespace

void init_d_gain2(GainDequantizer& state) {
  state.past_qua_en.fill(-14.0f);
  clear_last_gains(state);
}

float pitch_gain(int index) {
  return t_qua_gain[index & (nb_qua_gain - 1)][0];
}

void clear_last_gains(GainDequantizer& state) {
  state.last_gain_pit = 0.0f;
  state.last_gain_code = 0.0f;
}

void d_gain2(GainDequantizer& state, int index, const float* code, int L, float* gain_pit,
             float* gain_code, int bfi, int i_subfr, float fac_inter_var) {
  const auto number = static_cast<std::size_t>(index & (nb_qua_gain - 1));
  const float* row = t_qua_gain[number];
  if (bfi != 0) {
    *gain_pit = conceal_pitch_gain(state, row[0], bfi, i_subfr, fac_inter_var);
    state.last_gain_code = 0.8f * state.last_gain_code;
    *gain_code = state.last_gain_code;
    narrowband::push_energy(state.past_qua_en, conceal_energy(state.past_qua_en));
    return;
  }
  const float gcode0 = narrowband::predict_code_gain(state.past_qua_en, code, L);
  *gain_pit = state.last_gain_pit = row[0];
  *gain_code = state.last_gain_code = gcode0 * row[1];
  narrowband::push_energy(state.past_qua_en, row_energy[number]);
}

GainRow gain_row(int index) {
  const float* row = t_qua_gain[index & (nb_qua_gain - 1)];
  return {row[0], narrowband::correction_energy(row[1])};
}

float hold_correction(float energy) {
  return std::clamp(energy, narrowband::correction_energy(correction_range.least),
                    narrowband::correction_energy(correction_range.most));
}

}  // namespace quel
