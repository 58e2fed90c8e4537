#include <cstddef>
#include <vector>

#include "kernel_bench.h"
#include "support/signals.h"
#include "wideband/lsf2a.h"
#include "wideband/output_wb.h"

namespace quel {
namespace {

int output(const char* name, bool fades) {
  const auto A = test::stable_filter(16, /*seed=*/1), Aw = test::stable_filter(16, /*seed=*/2);
  const auto exc = test::speech_like(80, /*seed=*/3);
  std::vector<float> mem_syn(16), mem_post(16), out(80);
  auto work = [=](bool (*filter)(const wideband::OutputFilters&, const float*, float*)) mutable {
    filter({A.data(), Aw.data(), fades ? A.data() : nullptr, mem_syn.data(), mem_post.data()},
           exc.data(), out.data());
    return out.data();
  };
  return compare_kernels(
      name, [=]() mutable { return work(wideband::plain::synthesize_output); },
      [=]() mutable { return work(wideband::synthesize_output); });
}
const int fading = output("synthesize_output/samples:80/fade:30", true);
const int steady = output("synthesize_output/samples:80", false);

const int filters = [] {
  const auto before = test::noise(16, /*seed=*/1, /*deviation=*/0.5);
  const auto now = test::noise(16, /*seed=*/2, /*deviation=*/0.5);
  std::vector<float> Az(34);
  return compare_kernels(
      "int_lpc/order:16",
      [=]() mutable {
        wideband::plain::int_lpc(before.data(), now.data(), Az.data(), 16);
        return Az.data();
      },
      [=]() mutable {
        int_lpc(before.data(), now.data(), Az.data(), 16);
        return Az.data();
      });
}();

}  // namespace
}  // namespace quel
