#pragma once

#include "dsp/kernels.h"
#include "dsp/recursion_kernel.h"

namespace quel::QUEL_SET {

namespace synthesis {

static_assert(stretch_max % recursion::group == 0);

/// A stretch on its way: its filter, and the input in whole groups. What moves on with it, the last
/// outputs and the wrong bits so far, are variables of the kernel's own, which stay in registers.
template <int m>
struct Run {
  recursion::AllPole<m> filter;
  const float* x;  // [0..count-1]
  int count;
  float padded[stretch_max];
};

template <int m>
QUEL_INLINE void start(Run<m>& run, const Recursion& r) {
  using recursion::group;
  run.count = (r.lg + group - 1) / group * group;
  run.x = r.x;
  if (r.lg != run.count) {
    copy(run.padded, r.x, r.lg);
    for (int n = r.lg; n < run.count; ++n) run.padded[n] = 0.0f;
    run.x = run.padded;
  }
  run.filter.start(r.a, r.past);
}

template <bool careful, int m>
QUEL_INLINE void guess(Run<m>& run, int n, recursion::Ones& last) {
  last = run.filter.template guess<careful>(n, recursion::load_block(run.x + n), last);
}

template <int m>
QUEL_INLINE void prove(const Run<m>& run, int n, Mask& different) {
  different |= run.filter.differences(n, recursion::FloatInput{run.x});
}

/// From n on, all but the proof of the last group.
template <bool careful, int m>
__attribute__((noinline)) void go_on(Run<m>& run, int n, recursion::Ones& last_output,
                                     Mask& different_bits) {
  using namespace recursion;
  Ones last = last_output;
  Mask different = different_bits;
  for (; n < run.count; n += group) {
    for (int i = n; i < n + group; i += block) guess<careful>(run, i, last);
    if (n > 0) prove(run, n - group, different);
  }
  last_output = last;
  different_bits = different;
}

template <int m>
QUEL_INLINE bool finish(Run<m>& run, const Recursion& r, Mask different) {
  double* y = run.filter.outputs();
  if (spoiled()) y[r.lg - 1] = -y[r.lg - 1];
  prove(run, run.count - recursion::group, different);
  if (any(different)) return false;
  int n = 0;
  for (; n + lanes <= r.lg; n += lanes) store(r.y + n, narrow(load<Double>(y + n)));
  for (; n < r.lg; ++n) r.y[n] = static_cast<float>(y[n]);
  for (int i = 0; i < m; ++i) r.past[i] = static_cast<float>(y[r.lg - m + i]);
  return true;
}

/// The quick way to round does not work where outputs are no normal floats, as in silence that
/// follows a sound: so the last output tells.
QUEL_INLINE bool needs_care(float last_output) {
  const float magnitude = last_output < 0.0f ? -last_output : last_output;
  return magnitude > 0.0f && magnitude < 1e-30f;
}

template <int m, bool careful>
QUEL_INLINE bool attempt(const Recursion& r) {
  Run<m> run;
  start(run, r);
  recursion::Ones last = run.filter.last();
  Mask different{};
  go_on<careful>(run, 0, last, different);
  return finish(run, r, different);
}

template <int m>
__attribute__((noinline)) bool attempt_carefully(const Recursion& r) {
  return attempt<m, true>(r);
}

}  // namespace synthesis

/// syn_filt of order m by guess and proof. Returns false where the guess does not prove right; y
/// and past are then as they were.
template <int m>
bool synthesize(const Recursion& r) {
  using namespace synthesis;
  return (!needs_care(r.past[m - 1]) && attempt<m, false>(r)) || attempt_carefully<m>(r);
}

namespace synthesis {

/// Apart from what comes after it, so that the careful way does not stand on top of its memory.
template <int m>
__attribute__((noinline)) void attempt_both(const Recursion& one, const Recursion& other,
                                            bool* proved) {
  using recursion::block;
  using recursion::group;
  Run<m> run, other_run;
  start(run, one);
  start(other_run, other);
  recursion::Ones last = run.filter.last(), other_last = other_run.filter.last();
  Mask different{}, other_different{};
  const int both = run.count < other_run.count ? run.count : other_run.count;
  for (int n = 0; n < both; n += group) {
    for (int i = n; i < n + group; i += block) {
      guess<false>(run, i, last);
      guess<false>(other_run, i, other_last);
    }
    if (n > 0) {
      prove(run, n - group, different);
      prove(other_run, n - group, other_different);
    }
  }
  if (both < run.count) go_on<false>(run, both, last, different);
  if (both < other_run.count) go_on<false>(other_run, both, other_last, other_different);
  proved[0] = finish(run, one, different);
  proved[1] = finish(other_run, other, other_different);
}

}  // namespace synthesis

/// Two of them that do not depend on each other: while one waits for an output, the other's is
/// computed. `proved` [0..1] says of each what `synthesize` returns.
template <int m>
void synthesize_both(const Recursion& one, const Recursion& other, bool* proved) {
  using namespace synthesis;
  attempt_both<m>(one, other, proved);
  if (!proved[0]) proved[0] = attempt_carefully<m>(one);
  if (!proved[1]) proved[1] = attempt_carefully<m>(other);
}

}  // namespace quel::QUEL_SET
