#include "narrowband/q_gain2.h"

#include <iterator>
#include <limits>

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

constexpr int search_rows = 64;
constexpr int crowded_rows = 102;

int first_row(float gain_pit, int nb) {
  constexpr int half = search_rows / 2;
  int start = 0;
  for (int j = half; j < nb - half; ++j) {
    if (t_qua_gain[j][0] < gain_pit) ++start;
  }
  return start;
}

// Row of the least error energy among the 64 from `start` on.
int best_row(int start, float gcode0, const float* g_coeff) {
  double best = std::numeric_limits<float>::max();
  int index = start;
  for (int row = start; row < start + search_rows; ++row) {
    const double g_p = t_qua_gain[row][0];
    const double g_c = static_cast<double>(gcode0) * t_qua_gain[row][1];
    const double dist = g_coeff[0] * g_p * g_p + g_coeff[1] * g_p + g_coeff[2] * g_c * g_c +
                        g_coeff[3] * g_c + g_coeff[4] * g_p * g_c;
    if (dist < best) {
      best = dist;
      index = row;
    }
  }
  return index;
}

}  // namespace

void init_q_gain2(GainQuantizer& state) {
  state.past_qua_en.fill(-14.0f);
}

std::int32_t q_gain2(GainQuantizer& state, const float* code, int L, float* gain_pit,
                     float* gain_code, const float* g_coeff, int flag) {
  const float gcode0 = narrowband::predict_code_gain(state.past_qua_en, code, L);
  const int start = first_row(*gain_pit, flag == 1 ? crowded_rows : nb_qua_gain);
  const int index = best_row(start, gcode0, g_coeff);
  const float gamma = t_qua_gain[index][1];
  *gain_pit = t_qua_gain[index][0];
  *gain_code = gcode0 * gamma;
  narrowband::push_energy(state.past_qua_en, narrowband::correction_energy(gamma));
  return index;
}

}  // namespace quel
