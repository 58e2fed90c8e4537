#include <cstddef>
#include <vector>

#include "dsp/syn_filt.h"
#include "kernel_bench.h"
#include "support/signals.h"

namespace quel {
namespace {

int recursion(const char* name, int m, int lg) {
  const auto a = test::stable_filter(m, /*seed=*/1);
  const auto x = test::speech_like(lg, /*seed=*/2);
  std::vector<float> y(x.size()), mem(static_cast<std::size_t>(m));
  return compare_kernels(
      name,
      [=]() mutable {
        plain::syn_filt(a.data(), m, x.data(), y.data(), lg, mem.data(), 0);
        return y.data();
      },
      [=]() mutable {
        syn_filt(a.data(), m, x.data(), y.data(), lg, mem.data(), 0);
        return y.data();
      });
}
const int order10 = recursion("syn_filt/order:10/samples:48", 10, 48);
const int order16 = recursion("syn_filt/order:16/samples:80", 16, 80);

}  // namespace
}  // namespace quel
