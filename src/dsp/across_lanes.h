#pragma once

#include "dsp/lanes.h"

// What looks across the lanes of a register.
namespace quel::QUEL_SET {

template <typename V>
inline constexpr int width_of = static_cast<int>(sizeof(V) / sizeof(V{}[0]));

/// The lower half of a register of more than 16 bytes, and the upper one.
template <typename V>
QUEL_INLINE auto low_half(V v) {
  if constexpr (width_of<V> == 16) {
    return __builtin_shufflevector(v, v, 0, 1, 2, 3, 4, 5, 6, 7);
  } else if constexpr (width_of<V> == 8) {
    return __builtin_shufflevector(v, v, 0, 1, 2, 3);
  } else {
    return __builtin_shufflevector(v, v, 0, 1);
  }
}
template <typename V>
QUEL_INLINE auto high_half(V v) {
  if constexpr (width_of<V> == 16) {
    return __builtin_shufflevector(v, v, 8, 9, 10, 11, 12, 13, 14, 15);
  } else if constexpr (width_of<V> == 8) {
    return __builtin_shufflevector(v, v, 4, 5, 6, 7);
  } else {
    return __builtin_shufflevector(v, v, 2, 3);
  }
}

/// The halves of a register of 16 bytes in the other order, and the neighbours.
template <typename V>
QUEL_INLINE V swapped_halves(V v) {
  if constexpr (width_of<V> == 4) {
    return __builtin_shufflevector(v, v, 2, 3, 0, 1);
  } else {
    return __builtin_shufflevector(v, v, 1, 0);
  }
}
QUEL_INLINE Lanes<4>::Float swapped_neighbours(Lanes<4>::Float v) {
  return __builtin_shufflevector(v, v, 1, 0, 3, 2);
}

/// The least lane where all are numbers.
template <typename V>
QUEL_INLINE auto smallest_lane(V v) {
  if constexpr (sizeof(V) > 16) {
    const auto a = low_half(v), b = high_half(v);
    return smallest_lane(a < b ? a : b);
  } else {
    V other = swapped_halves(v);
    v = v < other ? v : other;
    if constexpr (width_of<V> == 4) {
      other = swapped_neighbours(v);
      v = v < other ? v : other;
    }
    return v[0];
  }
}

/// A bit for each lane, set where a > b.
template <typename V>
QUEL_INLINE unsigned greater(V a, V b) {
  const auto mask = a > b;
  unsigned bits = 0;
  for (int l = 0; l < width_of<V>; ++l) bits |= static_cast<unsigned>(mask[l] & 1) << l;
  return bits;
}
#if defined(__AVX512F__)
QUEL_INLINE unsigned greater(Lanes<16>::Float a, Lanes<16>::Float b) {
  return _mm512_cmp_ps_mask(a, b, _CMP_GT_OQ);
}
QUEL_INLINE unsigned greater(Lanes<8>::Double a, Lanes<8>::Double b) {
  return _mm512_cmp_pd_mask(a, b, _CMP_GT_OQ);
}
#endif
#if defined(__AVX__)
QUEL_INLINE unsigned greater(Lanes<8>::Float a, Lanes<8>::Float b) {
  return static_cast<unsigned>(_mm256_movemask_ps(_mm256_cmp_ps(a, b, _CMP_GT_OQ)));
}
QUEL_INLINE unsigned greater(Lanes<4>::Double a, Lanes<4>::Double b) {
  return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(a, b, _CMP_GT_OQ)));
}
#endif
#if defined(__SSE2__)
QUEL_INLINE unsigned greater(Lanes<4>::Float a, Lanes<4>::Float b) {
  return static_cast<unsigned>(_mm_movemask_ps(_mm_cmpgt_ps(a, b)));
}
QUEL_INLINE unsigned greater(Lanes<2>::Double a, Lanes<2>::Double b) {
  return static_cast<unsigned>(_mm_movemask_pd(_mm_cmpgt_pd(a, b)));
}
#endif

}  // namespace quel::QUEL_SET
