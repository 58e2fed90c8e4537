#pragma once

// Vectors of a fixed width, for kernels only. A kernel's unit says before this header for which
// instruction set it is compiled:
//
//   QUEL_SET    its namespace
//   QUEL_LANES  doubles that a register holds, 2, 4 or 8
//
// All that a kernel consists of lies in that namespace, and kernels use nothing of the standard
// library: a template or an inline function that two units share is compiled in each, the linker
// keeps either copy, and an old processor may be handed the one that it cannot run. Behind its last
// kernel a unit includes dsp/lanes_end.h.
#if !defined(QUEL_SET) || !defined(QUEL_LANES)
#error "a kernel's unit defines QUEL_SET and QUEL_LANES first"
#endif

#include "dsp/kernel_checks.h"

#if defined(__SSE2__)
#include <immintrin.h>
#elif defined(__aarch64__) && defined(__ARM_NEON)
#include <arm_neon.h>
#endif

// The NEON of 32-bit ARM takes subnormals for zero. gcc computes no floats with it unless told that
// this does not matter; clang does, and here has to do without.
#if defined(__clang__) && defined(__arm__)
#pragma clang attribute push(__attribute__((target("no-neon"))), apply_to = function)
#endif

#define QUEL_INLINE static inline __attribute__((always_inline))
#define QUEL_MEMBER inline __attribute__((always_inline))
/// In front of a loop whose body is long enough: unrolled, it would only be longer. gcc warns of
/// this word where it has no use for it, without optimisation and on other processors than x86-64.
#if defined(__clang__)
#define QUEL_NO_UNROLLING _Pragma("clang loop unroll(disable)")
#elif defined(__OPTIMIZE__) && defined(__x86_64__)
#define QUEL_NO_UNROLLING _Pragma("GCC unroll 1")
#else
#define QUEL_NO_UNROLLING
#endif

namespace quel::QUEL_SET {

/// The compiler's own vectors: arithmetic goes lane by lane, each lane rounded as a scalar is.
template <int n>
struct Lanes {
  typedef double Double __attribute__((vector_size(8 * n)));
  typedef float Float __attribute__((vector_size(4 * n)));
  typedef int Int __attribute__((vector_size(4 * n)));
};

inline constexpr int lanes = QUEL_LANES;
using Double = Lanes<lanes>::Double;            ///< a register of doubles
using Half = Lanes<lanes>::Float;               ///< as many floats, half a register
using HalfBits = Lanes<lanes>::Int;             ///< their bits
using Float = Lanes<2 * lanes>::Float;          ///< a register of floats
using Mask = decltype(Double{} < Double{});     ///< over Double, a lane 0 or -1
using FloatMask = decltype(Float{} < Float{});  ///< over Float

/// The widest register of floats, up to Float, that `count` of them fill.
template <int count>
using Row = typename Lanes<(count < 2 * lanes ? count : 2 * lanes)>::Float;

/// A number that a lambda can take at compile time.
template <int n>
struct Constant {
  static constexpr int value = n;
};

template <typename V, typename T>
QUEL_INLINE V load(const T* p) {
  V v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}

template <typename V, typename T>
QUEL_INLINE void store(T* p, V v) {
  __builtin_memcpy(p, &v, sizeof v);
}

/// All lanes x. The difference keeps the sign of zero, which a sum would not.
template <typename V, typename T>
QUEL_INLINE V splat(T x) {
  return x - V{};
}

QUEL_INLINE Double widen(Half x) {
#if defined(__AVX512F__) && QUEL_LANES == 8
  return _mm512_maskz_cvtps_pd(0xff, x);  // the other form warns of its undefined source
#elif defined(__AVX__) && QUEL_LANES == 4
  return _mm256_cvtps_pd(x);
#elif defined(__SSE2__) && QUEL_LANES == 2
  return _mm_cvtps_pd(_mm_castpd_ps(_mm_set_sd(__builtin_bit_cast(double, x))));
#else
  return __builtin_convertvector(x, Double);
#endif
}

QUEL_INLINE Half narrow(Double x) {
  return __builtin_convertvector(x, Half);
}

/// x rounded to float, as a double.
QUEL_INLINE Double rounded(Double x) {
#if defined(__SSE2__) && QUEL_LANES == 2
  return _mm_cvtps_pd(_mm_cvtpd_ps(x));
#else
  return widen(narrow(x));
#endif
}

/// sum + x * y, where x and y are floats in all but type: their product is exact in a double, so
/// fused and unfused give the same bits. Of no other factors; contraction is off for the rest.
template <typename V>
QUEL_INLINE V add_exact(V sum, V x, V y) {
  return sum + x * y;
}
#if defined(__AVX512F__)
QUEL_INLINE Lanes<8>::Double add_exact(Lanes<8>::Double sum, Lanes<8>::Double x,
                                       Lanes<8>::Double y) {
  return _mm512_fmadd_pd(x, y, sum);
}
#endif
#if defined(__FMA__)
QUEL_INLINE Lanes<4>::Double add_exact(Lanes<4>::Double sum, Lanes<4>::Double x,
                                       Lanes<4>::Double y) {
  return _mm256_fmadd_pd(x, y, sum);
}
QUEL_INLINE Lanes<2>::Double add_exact(Lanes<2>::Double sum, Lanes<2>::Double x,
                                       Lanes<2>::Double y) {
  return _mm_fmadd_pd(x, y, sum);
}
#elif defined(__aarch64__) && defined(__ARM_NEON)
QUEL_INLINE Lanes<2>::Double add_exact(Lanes<2>::Double sum, Lanes<2>::Double x,
                                       Lanes<2>::Double y) {
  return vfmaq_f64(sum, x, y);
}
#endif
QUEL_INLINE double add_exact(double sum, double x, double y) {
#if defined(__FMA__) || defined(__aarch64__)
  return __builtin_fma(x, y, sum);
#else
  return sum + x * y;
#endif
}

QUEL_INLINE HalfBits bits_of(Half x) {
  return __builtin_bit_cast(HalfBits, x);
}

QUEL_INLINE bool any(HalfBits bits) {
  int seen = 0;
  for (int i = 0; i < lanes; ++i) seen |= bits[i];
  return seen != 0;
}

QUEL_INLINE bool any(Mask bits) {
  long long seen = 0;
  for (int i = 0; i < lanes; ++i) seen |= bits[i];
  return seen != 0;
}

QUEL_INLINE bool any(FloatMask mask) {
#if defined(__AVX__) && QUEL_LANES == 4
  return _mm256_movemask_ps(__builtin_bit_cast(__m256, mask)) != 0;
#elif defined(__SSE2__) && QUEL_LANES == 2
  return _mm_movemask_ps(__builtin_bit_cast(__m128, mask)) != 0;
#else
  int seen = 0;
  for (int i = 0; i < 2 * lanes; ++i) seen |= mask[i];
  return seen != 0;
#endif
}

/// Whether this guess is to be wrong on purpose; see kernel_checks.h.
QUEL_INLINE bool spoiled() {
#if defined(QUEL_SPOIL_GUESSES)
  return spoil_guess();
#else
  return false;
#endif
}

QUEL_INLINE bool search_spoiled() {
#if defined(QUEL_SPOIL_GUESSES)
  return spoil_search();
#else
  return false;
#endif
}

/// to [0..n-1] = from [0..n-1].
template <typename To, typename From>
QUEL_INLINE void copy(To* to, const From* from, int n) {
  for (int i = 0; i < n; ++i) to[i] = from[i];
}

/// to [0..size-1] = from [0..n-1], then zeros; n <= size, a multiple of a register.
QUEL_INLINE void widen(double* to, const float* from, int n, int size) {
  int i = 0;
  for (; i + lanes <= n; i += lanes) store(to + i, widen(load<Half>(from + i)));
  for (; i < n; ++i) to[i] = from[i];
  for (; i % lanes != 0; ++i) to[i] = 0.0;
  for (; i < size; i += lanes) store(to + i, Double{});
}

/// Whether x [0..n-1] holds no infinity and no NaN; n a multiple of a register.
QUEL_INLINE bool all_finite(const double* x, int n) {
  Double sum{};
  for (int i = 0; i < n; i += lanes) sum += load<Double>(x + i) - load<Double>(x + i);
  bool finite = true;
  for (int i = 0; i < lanes; ++i) finite = finite && sum[i] == 0.0;
  return finite;
}

}  // namespace quel::QUEL_SET
