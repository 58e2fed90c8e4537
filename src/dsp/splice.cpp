#include "dsp/splice.h"

namespace quel {

std::int64_t energy_of(const std::int16_t* x, int length) {
  std::int64_t sum = 0;
  for (int n = 0; n < length; ++n) sum += static_cast<std::int32_t>(x[n]) * x[n];
  return sum;
}

Splice find_splice(const std::int16_t* a, const std::int16_t* b, int from, int to, int length) {
  const auto energy_a = static_cast<double>(energy_of(a, length));
  Splice best{from, -2.0};
  for (int offset = from; offset <= to; ++offset) {
    std::int64_t sum = 0;
    for (int n = 0; n < length; ++n) sum += static_cast<std::int32_t>(a[n]) * b[offset + n];
    const double energies = energy_a * static_cast<double>(energy_of(b + offset, length));
    const auto c = static_cast<double>(sum);
    const double match = energies > 0.0 ? c * (c < 0.0 ? -c : c) / energies : 0.0;
    if (match > best.match) best = {offset, match};
  }
  return best;
}

void cross_fade(const std::int16_t* a, const std::int16_t* b, std::int16_t* out, int length) {
  // Weights (2n + 1) / 2L: neither piece is left out at an end, and fading back mirrors it.
  for (int n = 0; n < length; ++n) {
    const std::int32_t to_b = 2 * n + 1;
    const std::int64_t sum = static_cast<std::int64_t>(a[n]) * (2 * length - to_b) +
                             static_cast<std::int64_t>(b[n]) * to_b;
    // Between the two, so it needs no clipping.
    out[n] = static_cast<std::int16_t>(sum / (2 * length));
  }
}

}  // namespace quel
