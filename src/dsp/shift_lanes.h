#pragma once

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// {last lane of a, all lanes of b but the last}.
QUEL_INLINE Double shifted(Double a, Double b) {
#if QUEL_LANES == 2
  return __builtin_shufflevector(a, b, 1, 2);
#else
  return __builtin_shufflevector(a, b, 3, 4, 5, 6);
#endif
}

/// {all lanes of a but the first, first lane of b}.
QUEL_INLINE Double shifted_down(Double a, Double b) {
#if QUEL_LANES == 2
  return __builtin_shufflevector(a, b, 1, 2);
#else
  return __builtin_shufflevector(a, b, 1, 2, 3, 4);
#endif
}

QUEL_INLINE Float shifted_down(Float a, Float b) {
#if QUEL_LANES == 2
  return __builtin_shufflevector(a, b, 1, 2, 3, 4);
#else
  return __builtin_shufflevector(a, b, 1, 2, 3, 4, 5, 6, 7, 8);
#endif
}

}  // namespace quel::QUEL_SET
