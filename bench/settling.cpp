#include "settling.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

namespace quel::bench {

std::size_t settled_after(std::span<const std::int16_t> x, std::span<const std::int16_t> y) {
  std::size_t n = std::min(x.size(), y.size());
  while (n > 0 && std::abs(x[n - 1] - y[n - 1]) <= 1) --n;
  return n;
}

std::size_t not_exceeded(std::vector<std::size_t> values, double share) {
  if (values.empty() || !(share > 0.0 && share <= 1.0)) {
    throw std::invalid_argument("no values, or a share that is none");
  }
  const auto place =
      static_cast<std::size_t>(std::ceil(share * static_cast<double>(values.size())));
  const auto found = values.begin() + static_cast<std::ptrdiff_t>(place - 1);
  std::nth_element(values.begin(), found, values.end());
  return *found;
}

}  // namespace quel::bench
