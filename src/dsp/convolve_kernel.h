#pragma once

#include "dsp/kernels.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

namespace convolution {

/// A stretch's outputs are summed up side by side in as many registers as keep the multipliers busy
/// and there are, and in groups of whole stretches of the coders, 48 and 80.
constexpr int short_parts = lanes == 2 ? 8 : 48 / lanes;
constexpr int long_parts = lanes == 2 ? 8 : lanes == 4 ? 10 : 80 / lanes;
constexpr int padded = 96;
static_assert(padded >= stretch_max + 16);

/// Zeros in front of a signal, for outputs beside which others have begun.
struct Delayed {
  double value[lanes + padded];

  QUEL_MEMBER Delayed(const float* x, int L, int size) {
    store(value, Double{});
    widen(value + lanes, x, L, size);
  }
  QUEL_MEMBER const double* data() const { return value + lanes; }
};

template <int parts>
struct Sums {
  Double of[parts];

  /// Products of factor i with what lies i before each output, from part `from` on.
  template <int from>
  QUEL_MEMBER void add(double factor, const double* x) {
    const Double f = splat<Double>(factor);
    for (int p = from; p < parts; ++p) of[p] = add_exact(of[p], f, load<Double>(x + p * lanes));
  }
};

/// For the outputs n from `begin` on: sum += factor[i] * x[n - i] for i from `first` up to n, below
/// `limit`. A lane that has no such product takes one with a zero before x, or, where `masked`,
/// keeps its sum.
template <int parts, bool masked, int part = 0>
QUEL_INLINE void add_triangle(Sums<parts>& sum, const double* factor, int i, int limit,
                              const double* x, int begin) {
  const int whole = begin + part * lanes, next = whole + lanes;
  // Of the part in work all lanes have products up to here.
  if constexpr (part == 0) {
    for (; i <= whole && i < limit; ++i) sum.template add<0>(factor[i], x + begin - i);
  }
  QUEL_NO_UNROLLING
  for (; i < next && i < limit; ++i) {
    const Double before = sum.of[part];
    sum.template add<part>(factor[i], x + begin - i);
    if constexpr (masked) {
      Double place;
      for (int l = 0; l < lanes; ++l) place[l] = l;
      sum.of[part] = place >= splat<Double>(static_cast<double>(i - whole)) ? sum.of[part] : before;
    }
  }
  if constexpr (part + 1 < parts) {
    add_triangle<parts, masked, part + 1>(sum, factor, i, limit, x, begin);
  }
}

template <int parts>
QUEL_INLINE void convolve_all(const double* factor, const float* h, float* out, int L) {
  constexpr int group = parts * lanes;
  const int size = (L + group - 1) / group * group;
  const Delayed response(h, L, size);
  for (int n = 0; n < L; n += group) {
    Sums<parts> sum{};
    add_triangle<parts, false>(sum, factor, 0, L, response.data(), n);
    for (int p = 0; p < parts; ++p) store(out + n + p * lanes, narrow(sum.of[p]));
  }
}

/// For the outputs n from 0 on: sum += factor[k] * x[n + k], k rising from `k`, below `end` less
/// the part's first n.
template <int parts, int done = 0>
QUEL_INLINE void add_falling(Sums<parts>& sum, const double* factor, int k, int end,
                             const double* x) {
  constexpr int left = parts - done;
  QUEL_NO_UNROLLING
  for (; k < end - (left - 1) * lanes; ++k) {
    const Double f = splat<Double>(factor[k]);
    for (int p = 0; p < left; ++p) {
      sum.of[p] = add_exact(sum.of[p], f, load<Double>(x + k + p * lanes));
    }
  }
  if constexpr (left > 1) add_falling<parts, done + 1>(sum, factor, k, end, x);
}

template <int parts>
QUEL_INLINE void filter_all(const double* x, const double* factor, float* out, int L) {
  constexpr int group = parts * lanes;
  for (int n = 0; n < L; n += group) {
    Sums<parts> sum{};
    const int end = (L - n + lanes - 1) / lanes * lanes;
    add_falling<parts>(sum, factor, 0, end, x + n);
    for (int p = 0; p < parts; ++p) store(out + n + p * lanes, narrow(sum.of[p]));
  }
}

}  // namespace convolution

/// convolve, lanes across outputs, L at most `stretch_max`. Products that a lane should not have
/// are with a zero before the response. They change nothing where x is finite, as a sum that starts
/// at +0 is never -0; otherwise the result is false and y is as it was.
static bool convolved(const float* x, const float* h, float* y, int L) {
  using namespace convolution;
  double factor[padded];
  float out[padded];
  const int size = (L + lanes - 1) / lanes * lanes;
  widen(factor, x, L, size);
  if (!all_finite(factor, size)) return false;
  if (L <= 48 && short_parts != long_parts) {
    convolve_all<short_parts>(factor, h, out, L);
  } else {
    convolve_all<long_parts>(factor, h, out, L);
  }
  copy(y, out, L);
  return true;
}

/// backfil2 likewise, with the zeros behind x, and here h has to be finite.
static bool filtered_backwards(const float* x, float* y, const float* h, int L) {
  using namespace convolution;
  double factor[padded];
  double target[2 * padded];
  float out[padded];
  const int size = (L + lanes - 1) / lanes * lanes;
  widen(factor, h, L, size);
  if (!all_finite(factor, size)) return false;
  widen(target, x, L, 2 * size);
  if (L <= 48 && short_parts != long_parts) {
    filter_all<short_parts>(target, factor, out, L);
  } else {
    filter_all<long_parts>(target, factor, out, L);
  }
  copy(y, out, L);
  return true;
}

/// y[n] = x[n] + sum over i = 1..min(n, taps - 1) of x[n - i] * h[i], lanes across outputs, for L
/// at most `stretch_max`. The sum starts with x[n], which may be -0: here a lane keeps its sum
/// where it should not have a product.
static void cut_convolved(const float* x, const float* h, float* y, int taps, int L) {
  using namespace convolution;
  constexpr int group = long_parts * lanes;
  const int size = (L + group - 1) / group * group;
  const Delayed input(x, L, size);
  double factor[padded];
  float out[padded];
  copy(factor, h, taps);
  for (int n = 0; n < L; n += group) {
    Sums<long_parts> sum;
    for (int p = 0; p < long_parts; ++p) sum.of[p] = load<Double>(input.data() + n + p * lanes);
    add_triangle<long_parts, true>(sum, factor, 1, taps, input.data(), n);
    for (int p = 0; p < long_parts; ++p) store(out + n + p * lanes, narrow(sum.of[p]));
  }
  copy(y, out, L);
}

}  // namespace quel::QUEL_SET
