#include <array>
#include <cstddef>
#include <vector>

#include "dsp/interpolate.h"
#include "dsp/lag_correlations.h"
#include "kernel_bench.h"
#include "support/signals.h"

namespace quel {
namespace {

int correlations(const char* name, int n, int longest, int lags) {
  const auto x = test::speech_like(longest + n, /*seed=*/1);
  std::vector<double> sums(static_cast<std::size_t>(lags));
  return compare_kernels(
      name,
      [=]() mutable {
        plain::lag_correlations(x.data() + longest, n, longest, lags, sums.data());
        return sums.data();
      },
      [=]() mutable {
        lag_correlations(x.data() + longest, n, longest, lags, sums.data());
        return sums.data();
      });
}
const int narrowband = correlations("lag_correlations/samples:144/lags:124", 144, 143, 124);
const int wideband = correlations("lag_correlations/samples:53/lags:14", 53, 93, 14);

int interpolation(const char* name, int lag, int L) {
  const auto floats = test::noise(20, /*seed=*/1, /*deviation=*/0.1);
  const std::vector<double> filter(floats.begin(), floats.end());
  std::array<int, 20> place{};
  for (std::size_t k = 0; k < place.size(); ++k) place[k] = static_cast<int>(k);
  auto exc = test::speech_like(lag + 9 + L, /*seed=*/2);
  const auto start = lag + 9;
  return compare_kernels(
      name,
      [=]() mutable {
        plain::interpolate(filter.data(), place.data(), exc.data(), exc.data() + start, L);
        return exc.data();
      },
      [=]() mutable {
        interpolate(filter.data(), place.data(), exc.data(), exc.data() + start, L);
        return exc.data();
      });
}
const int short_lag = interpolation("interpolate/lag:25/samples:48", 25, 48);
const int long_lag = interpolation("interpolate/lag:120/samples:80", 120, 80);

}  // namespace
}  // namespace quel
