#include "narrowband/gain_tables.h"

#include <algorithm>

#include "dsp/add_squares.h"
#include "dsp/elementary.h"

namespace quel::narrowband {

float predict_code_gain(const std::array<float, 4>& past_qua_en, const float* code, int L) {
  const double energy = add_squares(static_cast<double>(0.01f), code, L);
  const float ener = static_cast<float>(10.0 * log_10(energy / L));

  double sum = 34.0;
  for (std::size_t i = 0; i < 4; ++i) sum += static_cast<double>(pred[i]) * past_qua_en[i];
  const float pred_en = static_cast<float>(sum - ener);
  return static_cast<float>(power_of_10(pred_en / 20.0));
}

void push_energy(std::array<float, 4>& past_qua_en, float energy) {
  std::copy_backward(past_qua_en.begin(), past_qua_en.end() - 1, past_qua_en.end());
  past_qua_en[0] = energy;
}

}  // namespace quel::narrowband
