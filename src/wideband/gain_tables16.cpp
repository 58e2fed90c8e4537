#include "wideband/gain_tables16.h"

#include <cstddef>

#include "dsp/elementary.h"

namespace quel::wideband {
namespace {

constexpr double mean_energy = 19.0;  // dB

}  // namespace

float code_energy(const float* code, int L) {
  double sum = 0.01;
  for (int n = 0; n < L; ++n) sum += static_cast<double>(code[n]) * code[n];
  return static_cast<float>(10.0 * log_10(sum / L));
}

float predicted_code_gain(const std::array<float, 2>& past_qua_en, float energy) {
  const double p = mean_energy + static_cast<double>(pred[0]) * past_qua_en[0] +
                   static_cast<double>(pred[1]) * past_qua_en[1] - energy;
  return static_cast<float>(power_of_10(static_cast<double>(static_cast<float>(p)) / 20.0));
}

float code_gain_db(int index) {
  const double row = qua_gain_code[static_cast<std::size_t>(index)];
  return static_cast<float>(20.0 * log_10(row));
}

}  // namespace quel::wideband
