#include "dsp/autocorr.h"

#include <benchmark/benchmark.h>

#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

void BM_autocorr_frame(benchmark::State& state) {
  const auto x = test::speech_like(240, /*seed=*/1);
  std::vector<float> r(11);
  for (auto _ : state) {
    autocorr(x.data(), r.data(), 10, 240, window.data());
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());  // frames per second
}
BENCHMARK(BM_autocorr_frame);

}  // namespace
}  // namespace quel
