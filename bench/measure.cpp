#include "measure.h"

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>

namespace quel::bench {
namespace {

// Of the lower and upper neighbour of a place among sorted values.
double value_at(const std::vector<double>& sorted, double share) {
  const double place = share * static_cast<double>(sorted.size() - 1);
  const double below = std::floor(place);
  const auto k = static_cast<std::size_t>(below);
  const std::size_t next = std::min(k + 1, sorted.size() - 1);
  return sorted[k] + (place - below) * (sorted[next] - sorted[k]);
}

}  // namespace

double processor_seconds() {
  timespec time{};
  if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time) != 0) {
    throw std::runtime_error("no processor time is known");
  }
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

Quartiles quartiles(std::vector<double> values) {
  if (values.empty()) throw std::invalid_argument("quartiles of nothing");
  std::sort(values.begin(), values.end());
  return {value_at(values, 0.25), value_at(values, 0.5), value_at(values, 0.75)};
}

double likeness(std::span<const std::int16_t> x, std::span<const std::int16_t> y, int most_delay) {
  double most = -1.0;
  for (int delay = 0; delay <= most_delay; ++delay) {
    const auto shift = static_cast<std::size_t>(delay);
    double xx = 0.0, yy = 0.0, xy = 0.0;
    for (std::size_t n = 0; n < x.size() && n + shift < y.size(); ++n) {
      const double a = x[n], b = y[n + shift];
      xx += a * a;
      yy += b * b;
      xy += a * b;
    }
    most = std::max(most, xx > 0.0 && yy > 0.0 ? xy / std::sqrt(xx * yy) : 0.0);
  }
  return most;
}

}  // namespace quel::bench
