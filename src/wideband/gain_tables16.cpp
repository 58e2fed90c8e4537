#include "wideband/gain_tables16.h"

#include <cstddef>

#include "dsp/add_squares.h"
#include "dsp/elementary.h"

namespace quel::wideband {
namespace {

constexpr double mean_energy = 19.0;  // dB

constexpr auto row_db = [] {
  std::array<float, qua_gain_code.size()> db{};
  for (std::size_t i = 0; i < db.size(); ++i) {
    const double row = qua_gain_code[i];
    db[i] = static_cast<float>(20.0 * log_10(row));
  }
  return db;
}();

}  // namespace

float code_energy(const float* code, int L) {
  const double sum = add_squares(0.01, code, L);
  return static_cast<float>(10.0 * log_10(sum / L));
}

float predicted_code_gain(const std::array<float, 2>& past_qua_en, float energy) {
  const double p = mean_energy + static_cast<double>(pred[0]) * past_qua_en[0] +
                   static_cast<double>(pred[1]) * past_qua_en[1] - energy;
  return static_cast<float>(power_of_10(static_cast<double>(static_cast<float>(p)) / 20.0));
}

float code_gain_db(int index) {
  return row_db[static_cast<std::size_t>(index)];
}

float code_level(const std::array<float, 2>& past_qua_en, float correction) {
  return static_cast<float>(mean_energy + static_cast<double>(pred[0]) * past_qua_en[0] +
                            static_cast<double>(pred[1]) * past_qua_en[1] + correction);
}

}  // namespace quel::wideband
