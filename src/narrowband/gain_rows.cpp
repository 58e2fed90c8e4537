#include "narrowband/gain_rows.h"

#include <iterator>

#include "dsp/best_few.h"
#include "narrowband/gain_tables.h"

namespace quel::narrowband {
namespace {

// {pitch gain, code-gain correction}
constexpr float t_qua_gain[][2] = {
#include "narrowband/t_qua_gain.inc"
};
static_assert(std::size(t_qua_gain) == nb_qua_gain);

constexpr int crowded_rows = 102;

}  // namespace

void best_gain_rows(float gcode0, const float* g_coeff, bool crowded, int count, GainRow* best) {
  double error[nb_qua_gain];
  const int rows = crowded ? crowded_rows : nb_qua_gain;
  for (int row = 0; row < rows; ++row) {
    const double g_p = t_qua_gain[row][0];
    const double g_c = static_cast<double>(gcode0) * t_qua_gain[row][1];
    error[row] = g_coeff[0] * g_p * g_p + g_coeff[1] * g_p + g_coeff[2] * g_c * g_c +
                 g_coeff[3] * g_c + g_coeff[4] * g_p * g_c;
  }
  int kept = 0;
  for (int row = 0; row < rows; ++row) {
    kept = keep_best(best, kept, count, {row, error[row]},
                     [](const GainRow& a, const GainRow& b) { return a.error < b.error; });
  }
}

void take_gains(GainQuantizer& state, int row, float gcode0, float* gain_pit, float* gain_code) {
  const float gamma = t_qua_gain[row][1];
  *gain_pit = t_qua_gain[row][0];
  *gain_code = gcode0 * gamma;
  push_energy(state.past_qua_en, correction_energy(gamma));
}

}  // namespace quel::narrowband
