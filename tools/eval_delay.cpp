#include "tools/eval_delay.h"

#include <algorithm>
#include <cmath>

namespace quel::tools {

Delay find_delay(std::span<const std::int16_t> ref, std::span<const std::int16_t> test,
                 std::int64_t lowest, std::int64_t highest) {
  Delay best;
  const auto ref_size = static_cast<std::int64_t>(ref.size());
  const auto test_size = static_cast<std::int64_t>(test.size());
  bool any = false;
  for (std::int64_t lag = lowest; lag <= highest; ++lag) {
    const std::int64_t first = std::max<std::int64_t>(0, -lag);
    const std::int64_t end = std::min(ref_size, test_size - lag);
    // Whole numbers, so that no order of summing matters: 2^30 a product, and seconds of them.
    std::int64_t both = 0, own = 0, other = 0;
    for (std::int64_t n = first; n < end; ++n) {
      const std::int64_t x = ref[static_cast<std::size_t>(n)];
      const std::int64_t y = test[static_cast<std::size_t>(n + lag)];
      both += x * y;
      own += x * x;
      other += y * y;
    }
    if (own == 0 || other == 0) continue;
    const double correlation = static_cast<double>(both) /
                               std::sqrt(static_cast<double>(own) * static_cast<double>(other));
    if (any && correlation <= best.correlation) continue;
    best = {lag, correlation};
    any = true;
  }
  return best;
}

}  // namespace quel::tools
