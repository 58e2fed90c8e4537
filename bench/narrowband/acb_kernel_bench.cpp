#include <array>
#include <cstdint>

#include "kernel_bench.h"
#include "narrowband/Acb2_10.h"
#include "narrowband/Acb3_10.h"
#include "narrowband/acb27_15.h"
#include "support/signals.h"

namespace quel {
namespace {

// Whole searches. What they fall back to lies within them, so there is no plain form to compare.
template <typename Search>
int codebook(const char* name, Search search) {
  const auto dn = test::speech_like(48, /*seed=*/1), res = test::speech_like(48, /*seed=*/2);
  auto h = test::noise(48, /*seed=*/3, /*deviation=*/0.3);
  h[0] = 1.0f;
  return measure_kernels(name, [=, words = std::array<std::int32_t, 3>{}]() mutable {
    auto target = dn, residual = res;
    search(target.data(), residual.data(), h.data(), words.data());
    return words[0];
  });
}
const int acb27 = codebook("ACB_27", ACB_27);
const int acb15 = codebook("ACB_15", ACB_15);
const int acb2 = codebook("acb_2p10b", [](float* dn, float*, const float* h, std::int32_t* index) {
  acb_2p10b(dn, h, index);
});
const int acb3 = codebook("acb_3p10b", [](float* dn, float*, const float* h, std::int32_t* index) {
  acb_3p10b(dn, h, index);
});

}  // namespace
}  // namespace quel
