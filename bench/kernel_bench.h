#pragma once

#include <benchmark/benchmark.h>

#include <string>

#include "dsp/instruction_set.h"

namespace quel {

/// Registers `work`, which does one call and returns something of its result, as NAME.
template <typename Work>
void measure(const std::string& name, Work work) {
  benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State& state) mutable {
    for (auto _ : state) {
      benchmark::DoNotOptimize(work());
      benchmark::ClobberMemory();
    }
  });
}

/// Likewise once for every instruction set that the processor has, as NAME/SET.
template <typename Work>
int measure_kernels(const std::string& name, Work work) {
  for (const InstructionSet set : instruction_sets) {
    if (!is_available(set)) continue;
    measure(name + "/" + name_of(set), [=, now = set]() mutable {
      use_instruction_set(now);
      return work();
    });
  }
  return 0;
}

/// The plain form, as NAME/plain, and the kernels beside it.
template <typename Plain, typename ByKernels>
int compare_kernels(const std::string& name, Plain plain, ByKernels by_kernels) {
  measure(name + "/plain", plain);
  return measure_kernels(name, by_kernels);
}

}  // namespace quel
