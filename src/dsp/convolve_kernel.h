#pragma once

#include "dsp/kernels.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

namespace convolution {

constexpr int parts = 4;
constexpr int group = parts * lanes;  // outputs side by side
constexpr int padded = (stretch_max + group - 1) / group * group;

/// For outputs n to n + group - 1: sum over i = 0..last of factor[i] * from[n + i * step].
template <int step>
QUEL_INLINE void outputs(const double* factor, int last, const double* from, float* y) {
  Double sum[parts] = {};
  for (int i = 0; i <= last; ++i, from += step) {
    const Double x = splat<Double>(factor[i]);
    for (int p = 0; p < parts; ++p) sum[p] = add_exact(sum[p], x, load<Double>(from + p * lanes));
  }
  for (int p = 0; p < parts; ++p) store(y + p * lanes, narrow(sum[p]));
}

}  // namespace convolution

/// convolve, lanes across outputs, L at most `stretch_max`. Products that a lane should not have
/// are with a zero before the response. They change nothing where x is finite, as a sum that starts
/// at +0 is never -0; otherwise the result is false and y is as it was.
static bool convolved(const float* x, const float* h, float* y, int L) {
  using namespace convolution;
  double factor[padded];
  double response[group + padded] = {};
  float out[padded];
  widen(factor, x, L, padded);
  if (!all_finite(factor, padded)) return false;
  widen(response + group, h, L, padded);
  for (int n = 0; n < L; n += group) {
    outputs<-1>(factor, n + group - 1, response + group + n, out + n);
  }
  copy(y, out, L);
  return true;
}

/// backfil2 likewise, with the zeros behind x, and here h has to be finite.
static bool filtered_backwards(const float* x, float* y, const float* h, int L) {
  using namespace convolution;
  double factor[padded];
  double target[padded + group];
  float out[padded];
  widen(factor, h, L, padded);
  if (!all_finite(factor, padded)) return false;
  widen(target, x, L, padded + group);
  for (int n = 0; n < L; n += group) outputs<1>(factor, L - 1 - n, target + n, out + n);
  copy(y, out, L);
  return true;
}

/// y[n] = x[n] + sum over i = 1..min(n, taps - 1) of x[n - i] * h[i], lanes across outputs, for L
/// at most `stretch_max`. The sum starts with x[n], which may be -0: here a lane keeps its sum
/// where it should not have a product.
static void cut_convolved(const float* x, const float* h, float* y, int taps, int L) {
  using namespace convolution;
  double input[group + padded] = {};
  double factors[padded];
  float out[padded];
  widen(input + group, x, L, padded);
  widen(factors, h, taps, padded);
  Double place[parts];
  for (int i = 0; i < group; ++i) place[i / lanes][i % lanes] = i;
  for (int n = 0; n < L; n += group) {
    const double* from = input + group + n;
    Double sum[parts];
    for (int p = 0; p < parts; ++p) sum[p] = load<Double>(from + p * lanes);
    for (int i = 1; i < taps && i < n + group; ++i) {
      const Double factor = splat<Double>(factors[i]);
      const Double first = splat<Double>(static_cast<double>(i - n));
      for (int p = 0; p < parts; ++p) {
        const Double more = add_exact(sum[p], factor, load<Double>(from - i + p * lanes));
        sum[p] = place[p] >= first ? more : sum[p];
      }
    }
    for (int p = 0; p < parts; ++p) store(out + n + p * lanes, narrow(sum[p]));
  }
  copy(y, out, L);
}

}  // namespace quel::QUEL_SET
