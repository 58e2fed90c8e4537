#pragma once

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

namespace synthesis {

constexpr int block = 4;   // outputs guessed side by side
constexpr int group = 16;  // outputs proved side by side
static_assert(stretch_max % group == 0);

using Block = Lanes < lanes<block ? lanes : block>::Double;
constexpr int block_lanes = lanes < block ? lanes : block;

template <int m>
struct Work {
  double minus_a[m + block];  // zeros behind -a[m]
  double x[stretch_max];
  double past_and_y[m + stretch_max];  // y rounded to float
  float y[stretch_max];
};

// Four outputs. From one to the next there is a product, a sum and the rounding, no more: products
// with older outputs are added up before, and those from before the block for all four at once.
template <int m>
QUEL_INLINE void guess(Work<m>& w, int n) {
  double* y = w.past_and_y + m + n;
  double sum[block];
  for (int part = 0; part < block; part += block_lanes) {
    Block sums = load<Block>(w.x + n + part);
    for (int k = m; k >= 2; --k) {
      sums = add_exact(sums, load<Block>(w.minus_a + k + part), splat<Block>(y[-k]));
    }
    for (int j = 0; j < block_lanes; ++j) sum[part + j] = sums[j];
  }
  for (int j = 0; j < block; ++j) {
    for (int i = j + 1; i >= 1; --i) sum[j] = add_exact(sum[j], w.minus_a[i], y[j - i]);
    w.y[n + j] = static_cast<float>(sum[j]);
    y[j] = w.y[n + j];
  }
}

// The outputs again in the written order, side by side, from the guessed past. Equal bits from the
// first output on mean, by induction, that the guess is what the plain recursion gives.
template <int m>
QUEL_INLINE HalfBits differences(const Work<m>& w, int n) {
  constexpr int parts = group / lanes;
  const double* y = w.past_and_y + m + n;
  Double sum[parts];
  for (int p = 0; p < parts; ++p) sum[p] = load<Double>(w.x + n + p * lanes);
  for (int i = 1; i <= m; ++i) {
    const Double minus_a = splat<Double>(w.minus_a[i]);
    for (int p = 0; p < parts; ++p) {
      sum[p] = add_exact(sum[p], minus_a, load<Double>(y - i + p * lanes));
    }
  }
  HalfBits different{};
  for (int p = 0; p < parts; ++p) {
    different |= bits_of(narrow(sum[p])) ^ load<HalfBits>(w.y + n + p * lanes);
  }
  return different;
}

}  // namespace synthesis

/// syn_filt of order m over lg samples, at most `stretch_max`, by guess and proof.
///
/// past  [0..m-1] outputs before y[0], oldest first; moves on
///
/// Returns false where the guess does not prove right; y and past are then as they were.
template <int m>
bool synthesize(const float* a, const float* x, float* y, int lg, float* past) {
  using namespace synthesis;
  Work<m> w;
  const int count = (lg + group - 1) / group * group;
  for (int i = 0; i < m + block; ++i) w.minus_a[i] = i <= m ? -static_cast<double>(a[i]) : 0.0;
  widen(w.x, x, lg, count);
  for (int i = 0; i < m; ++i) w.past_and_y[i] = past[i];
  for (int n = 0; n < count; n += block) guess(w, n);
  if (spoiled()) w.y[lg / 2] = -w.y[lg / 2];
  HalfBits different{};
  for (int n = 0; n < count; n += group) different |= differences(w, n);
  if (any(different)) return false;
  copy(y, w.y, lg);
  for (int i = 0; i < m; ++i) past[i] = static_cast<float>(w.past_and_y[lg + i]);
  return true;
}

}  // namespace quel::QUEL_SET
