#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "conformance/random.h"

/// Coded frames with which a decoder's excitation grows until it clears its histories.
namespace quel::test {

inline constexpr std::size_t fields = 22;
/// One frame's parameter array, as prm2binary takes it.
using Fields = std::array<std::int32_t, fields>;

/// The fields that make a flavor's excitation grow: those of the lag, which is held, and of the
/// gains. Of the narrowband decoders both gains are one row of a table that rises in pitch gain.
struct GrowthFields {
  std::array<std::pair<std::size_t, int>, 5> lags;  // {field, value}
  std::size_t first_gain, stride, count;
};

inline GrowthFields growth_fields(int flavor) {
  constexpr int lag_40 = 62, same_lag = 17;
  if (flavor == 3) return {{{{6, 0}, {14, 0}, {6, 0}, {6, 0}, {6, 0}}}, 7, 8, 2};
  if (flavor == 2) {
    return {{{{6, lag_40}, {9, same_lag}, {12, lag_40}, {15, same_lag}, {18, same_lag}}}, 8, 3, 5};
  }
  return {{{{6, lag_40}, {11, same_lag}, {16, same_lag}, {6, lag_40}, {6, lag_40}}}, 10, 5, 3};
}

inline Fields random_fields(conformance::Random& random) {
  Fields words{};
  for (auto& word : words) word = static_cast<std::int32_t>(random.bits() >> 16);
  return words;
}

/// Everything else is random.
///
/// largest_code_gain  whether the code gain is the largest too, or what comes with the pitch gain
inline Fields growing_fields(int flavor, bool largest_code_gain, conformance::Random& random) {
  // Row 126 is the largest code gain among the narrowband table's largest pitch gains.
  constexpr int largest_pitch = 127, largest_both = 126;
  Fields words = random_fields(random);
  const GrowthFields growth = growth_fields(flavor);
  for (const auto& [field, value] : growth.lags) words[field] = value;
  for (std::size_t k = 0; k < growth.count; ++k) {
    const std::size_t gain = growth.first_gain + k * growth.stride;
    words[gain] = largest_code_gain ? largest_both : largest_pitch;
    if (flavor != 3) continue;
    words[gain] = 15;
    if (largest_code_gain) words[gain + 6] = 31;
  }
  return words;
}

}  // namespace quel::test
