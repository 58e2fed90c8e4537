#include "wideband/q_gains.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "dsp/elementary.h"
#include "wideband/gain_tables16.h"

namespace quel {
namespace {

/// Index of the entry whose multiple by `scale` is nearest to the gain, the lowest on a tie.
template <std::size_t n>
int nearest(double gain, float scale, const std::array<float, n>& table) {
  // In double a gain far beyond the table would be equally far from all entries in the end.
  const double g = std::min(gain, 1e6 * scale);
  int best = 0;
  double min = std::fabs(g - static_cast<double>(scale) * table[0]);
  for (std::size_t i = 1; i < n; ++i) {
    const double distance = std::fabs(g - static_cast<double>(scale) * table[i]);
    if (distance < min) {
      min = distance;
      best = static_cast<int>(i);
    }
  }
  return best;
}

}  // namespace

double get_gain(const float* x, const float* y, int L) {
  double xy = 0.0;
  double yy = 0.01;
  for (int n = 0; n < L; ++n) {
    xy += static_cast<double>(x[n]) * y[n];
    yy += static_cast<double>(y[n]) * y[n];
  }
  return xy / yy;
}

int q_gain_pitch(float* gain) {
  const int index = nearest(*gain, 1.0f, wideband::qua_gain_pitch);
  *gain = wideband::qua_gain_pitch[static_cast<std::size_t>(index)];
  return index;
}

int q_gain_code(CodeGainQuantizer& state, const float* code, int L, float* gain) {
  const float gc0 =
      wideband::predicted_code_gain(state.past_qua_en, wideband::code_energy(code, L));
  const int index = nearest(*gain, gc0, wideband::qua_gain_code);
  *gain = gc0 * wideband::qua_gain_code[static_cast<std::size_t>(index)];
  state.past_qua_en = {wideband::code_gain_db(index), state.past_qua_en[0]};
  return index;
}

double q_gain_test(GainTest& state, const float* code, int L, float gain, float* en) {
  const float energy = wideband::code_energy(code, L);
  *en = static_cast<float>(20.0 * log_10(static_cast<double>(gain)) + energy);
  const float gc0 = wideband::predicted_code_gain(state.past_qua_en, energy);
  const double correction = 20.0 * log_10(static_cast<double>(gain) / gc0);
  state.past_qua_en = {static_cast<float>(correction), state.past_qua_en[0]};
  return correction;
}

}  // namespace quel
