#pragma once

#include "dsp/kernels.h"
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

template <int m>
QUEL_INLINE void start(Work<m>& w, const Recursion& r, int count) {
  for (int i = 0; i < m + block; ++i) w.minus_a[i] = i <= m ? -static_cast<double>(r.a[i]) : 0.0;
  widen(w.x, r.x, r.lg, count);
  for (int i = 0; i < m; ++i) w.past_and_y[i] = r.past[i];
}

template <int m>
QUEL_INLINE bool finish(Work<m>& w, const Recursion& r, int count) {
  if (spoiled()) w.y[r.lg / 2] = -w.y[r.lg / 2];
  HalfBits different{};
  for (int n = 0; n < count; n += group) different |= differences(w, n);
  if (any(different)) return false;
  copy(r.y, w.y, r.lg);
  for (int i = 0; i < m; ++i) r.past[i] = static_cast<float>(w.past_and_y[r.lg + i]);
  return true;
}

QUEL_INLINE int whole_groups(int lg) {
  return (lg + group - 1) / group * group;
}

}  // namespace synthesis

/// syn_filt of order m by guess and proof. Returns false where the guess does not prove right; y
/// and past are then as they were.
template <int m>
bool synthesize(const Recursion& r) {
  using namespace synthesis;
  Work<m> w;
  const int count = whole_groups(r.lg);
  start(w, r, count);
  for (int n = 0; n < count; n += block) guess(w, n);
  return finish(w, r, count);
}

/// Two of them that do not depend on each other: while one waits for an output, the other's is
/// computed. `proved` [0..1] says of each what `synthesize` returns.
template <int m>
void synthesize_both(const Recursion& one, const Recursion& other, bool* proved) {
  using namespace synthesis;
  Work<m> w[2];
  const int count = whole_groups(one.lg), other_count = whole_groups(other.lg);
  start(w[0], one, count);
  start(w[1], other, other_count);
  const int both = count < other_count ? count : other_count;
  for (int n = 0; n < both; n += block) {
    guess(w[0], n);
    guess(w[1], n);
  }
  for (int n = both; n < count; n += block) guess(w[0], n);
  for (int n = both; n < other_count; n += block) guess(w[1], n);
  proved[0] = finish(w[0], one, count);
  proved[1] = finish(w[1], other, other_count);
}

}  // namespace quel::QUEL_SET
