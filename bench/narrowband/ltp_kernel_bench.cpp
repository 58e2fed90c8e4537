#include <vector>

#include "kernel_bench.h"
#include "narrowband/ltp.h"
#include "support/signals.h"

namespace quel {
namespace {

int closed_loop() {
  constexpr int t_min = 56, t_max = 70;
  const auto exc = test::speech_like(t_max + 48, /*seed=*/1);
  const auto xn = test::speech_like(48, /*seed=*/2);
  auto h = test::noise(48, /*seed=*/3, /*deviation=*/0.3);
  h[0] = 1.0f;
  const auto run = [=](auto norm_corr) {
    return [=, corr = std::vector<float>(t_max + 1)]() mutable {
      norm_corr(exc.data() + t_max, xn.data(), h.data(), t_min, t_max, corr.data());
      return corr.data();
    };
  };
  return compare_kernels("narrowband::norm_corr/lags:15", run(narrowband::plain::norm_corr),
                         run(narrowband::norm_corr));
}
const int lags15 = closed_loop();

}  // namespace
}  // namespace quel
