#include "dsp/instruction_set.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace quel {
namespace {

constexpr int not_chosen = -1;
std::atomic<int> chosen = not_chosen;

InstructionSet best() {
  InstructionSet found = InstructionSet::baseline;
  const char* const wanted = std::getenv("QUELCODEC_CPU");
  for (const InstructionSet set : instruction_sets) {
    if (!is_available(set)) continue;
    found = set;
    if (wanted != nullptr && std::strcmp(wanted, name_of(set)) == 0) return set;
  }
  return found;
}

}  // namespace

const char* name_of(InstructionSet set) {
  switch (set) {
    case InstructionSet::avx512:
      return "avx512";
    case InstructionSet::avx2:
      return "avx2";
    case InstructionSet::baseline:
      break;
  }
  return "baseline";
}

bool is_available(InstructionSet set) {
  if (set == InstructionSet::baseline) return true;
#if defined(__x86_64__)
  __builtin_cpu_init();
  const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  if (set == InstructionSet::avx2) return avx2;
  // The first processors with AVX-512 lower their clock for it, and gain nothing. Those with VBMI2
  // came later and do not.
  return avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
         __builtin_cpu_supports("avx512vbmi2");
#else
  return false;
#endif
}

// Two threads may both choose; they choose alike.
InstructionSet instruction_set() {
  int set = chosen.load(std::memory_order_relaxed);
  if (set == not_chosen) {
    set = static_cast<int>(best());
    chosen.store(set, std::memory_order_relaxed);
  }
  return static_cast<InstructionSet>(set);
}

void use_instruction_set(InstructionSet set) {
  chosen.store(static_cast<int>(set), std::memory_order_relaxed);
}

}  // namespace quel
