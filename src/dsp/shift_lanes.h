#pragma once

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// {last lane of a, all lanes of b but the last}.
QUEL_INLINE Double shifted(Double a, Double b) {
#if QUEL_LANES == 2
  return __builtin_shufflevector(a, b, 1, 2);
#elif QUEL_LANES == 8
  return __builtin_shufflevector(a, b, 7, 8, 9, 10, 11, 12, 13, 14);
#else
  return __builtin_shufflevector(a, b, 3, 4, 5, 6);
#endif
}

/// {all lanes of a but the first, first lane of b}.
QUEL_INLINE Double shifted_down(Double a, Double b) {
#if QUEL_LANES == 2
  return __builtin_shufflevector(a, b, 1, 2);
#elif QUEL_LANES == 8
  return __builtin_shufflevector(a, b, 1, 2, 3, 4, 5, 6, 7, 8);
#else
  return __builtin_shufflevector(a, b, 1, 2, 3, 4);
#endif
}

QUEL_INLINE Lanes<4>::Float shifted_down(Lanes<4>::Float a, Lanes<4>::Float b) {
  return __builtin_shufflevector(a, b, 1, 2, 3, 4);
}

#if QUEL_LANES > 2
QUEL_INLINE Lanes<8>::Float shifted_down(Lanes<8>::Float a, Lanes<8>::Float b) {
  return __builtin_shufflevector(a, b, 1, 2, 3, 4, 5, 6, 7, 8);
}
#endif

#if QUEL_LANES > 4
QUEL_INLINE Lanes<16>::Float shifted_down(Lanes<16>::Float a, Lanes<16>::Float b) {
  return __builtin_shufflevector(a, b, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
}
#endif

}  // namespace quel::QUEL_SET
