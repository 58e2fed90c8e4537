#include "dsp/a2isp.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

#include "dsp/interpol_lpc.h"
#include "support/signals.h"

namespace quel {
namespace {

// The search's length depends on the filter, so it goes round a set of them.
void BM_a2isp_frame(benchmark::State& state) {
  constexpr std::size_t count = 64;
  std::vector<std::vector<float>> filters;
  for (unsigned seed = 0; seed < count; ++seed) filters.push_back(test::stable_filter(10, seed));
  std::vector<float> isp(10);
  std::size_t next = 0;
  for (auto _ : state) {
    a2isp(filters[next].data(), isp.data(), isf_ini, 10);
    benchmark::DoNotOptimize(isp.data());
    benchmark::ClobberMemory();
    next = (next + 1) % count;
  }
  state.SetItemsProcessed(state.iterations());  // frames per second
}
BENCHMARK(BM_a2isp_frame);

}  // namespace
}  // namespace quel
