#include "dsp/convolve.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

void run(benchmark::State& state, void (*routine)(const float*, const float*, float*, int)) {
  const auto L = static_cast<int>(state.range(0));
  const auto x = test::speech_like(L, /*seed=*/1);
  const auto h = test::noise(L, /*seed=*/2, /*deviation=*/0.3);
  std::vector<float> y(static_cast<std::size_t>(L));
  for (auto _ : state) {
    routine(x.data(), h.data(), y.data(), L);
    benchmark::DoNotOptimize(y.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(L * state.iterations());  // samples per second
}

void BM_convolve_subframe(benchmark::State& state) {
  run(state, convolve);
}
BENCHMARK(BM_convolve_subframe)->ArgName("samples")->Arg(48)->Arg(80);

void BM_backfil2_subframe(benchmark::State& state) {
  run(state, [](const float* x, const float* h, float* y, int L) { backfil2(x, y, h, L); });
}
BENCHMARK(BM_backfil2_subframe)->ArgName("samples")->Arg(48)->Arg(80);

}  // namespace
}  // namespace quel
