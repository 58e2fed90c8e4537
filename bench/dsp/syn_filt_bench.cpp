#include "dsp/syn_filt.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

void BM_syn_filt_subframe(benchmark::State& state) {
  const auto m = static_cast<int>(state.range(0)), lg = static_cast<int>(state.range(1));
  const auto a = test::stable_filter(m, /*seed=*/1);
  const auto x = test::speech_like(lg, /*seed=*/2);
  std::vector<float> y(static_cast<std::size_t>(lg)), mem(static_cast<std::size_t>(m));
  for (auto _ : state) {
    syn_filt(a.data(), m, x.data(), y.data(), lg, mem.data(), /*update=*/1);
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(lg * state.iterations());  // samples per second
}
BENCHMARK(BM_syn_filt_subframe)->ArgNames({"order", "samples"})->Args({10, 48})->Args({16, 80});

}  // namespace
}  // namespace quel
