#include <cstddef>
#include <cstdint>
#include <vector>

#include "dsp/add_squares.h"
#include "dsp/interpol_lpc.h"
#include "dsp/pcm.h"
#include "kernel_bench.h"
#include "support/signals.h"

namespace quel {
namespace {

const int squares = [] {
  const auto x = test::speech_like(80, /*seed=*/1);
  return compare_kernels(
      "add_squares/samples:80", [=] { return plain::add_squares(0.01, x.data(), 80); },
      [=] { return add_squares(0.01, x.data(), 80); });
}();

const int filters = [] {
  const auto before = test::noise(10, /*seed=*/1, /*deviation=*/0.5);
  const auto now = test::noise(10, /*seed=*/2, /*deviation=*/0.5);
  std::vector<float> A(55);
  return compare_kernels(
      "interpol_lpc/subframes:5",
      [=]() mutable {
        plain::interpol_lpc(now.data(), before.data(), A.data(), 5);
        return A.data();
      },
      [=]() mutable {
        interpol_lpc(now.data(), before.data(), A.data(), 5);
        return A.data();
      });
}();

const int pcm = [] {
  const auto x = test::speech_like(160, /*seed=*/1);
  std::vector<std::int16_t> out(x.size());
  return compare_kernels(
      "float_to_pcm/samples:160",
      [=]() mutable {
        for (std::size_t i = 0; i < x.size(); ++i) out[i] = float_to_pcm(x[i]);
        return out.data();
      },
      [=]() mutable {
        float_to_pcm(x.data(), out.data(), static_cast<int>(x.size()));
        return out.data();
      });
}();

}  // namespace
}  // namespace quel
