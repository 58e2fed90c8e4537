#include "wideband/d_gains.h"

#include <algorithm>
#include <cstddef>

#include "wideband/gain_tables16.h"

namespace quel {

double d_gain_pitch(GainDequantizer16& state, int index, int bfi) {
  const float gain = bfi != 0 ? static_cast<float>(0.95 * state.past_gain_pit)
                              : wideband::qua_gain_pitch[static_cast<std::size_t>(index & 15)];
  state.past_gain_pit = gain > 1.0f ? 1.0f : gain;
  return gain;
}

void d_gain_code(GainDequantizer16& state, int index, const float* code, int L, float* gain,
                 int bfi) {
  auto& past = state.past_qua_en;
  if (bfi != 0) {
    // Both entries, before the newer one moves: half the newer one alone would forget the level.
    const double fallen = 0.5 * (static_cast<double>(past[0]) + past[1]) - 4.0;
    *gain = static_cast<float>(0.8 * state.past_gain_code);
    past = {static_cast<float>(std::max(fallen, -14.0)), past[0]};
  } else {
    const int row = index & 31;
    const float energy = wideband::code_energy(code, L);
    *gain = wideband::predicted_code_gain(past, energy) *
            wideband::qua_gain_code[static_cast<std::size_t>(row)];
    past = {wideband::code_gain_db(row), past[0]};
  }
  state.past_gain_code = *gain;
}

}  // namespace quel
