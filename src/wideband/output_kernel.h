#pragma once

#include "dsp/recursion_kernel.h"
#include "wideband/kernels.h"

namespace quel::QUEL_SET {

namespace output {

constexpr int order = 16;
constexpr int length = 80;
constexpr int fading_length = 32;
static_assert(length % recursion::group == 0 && fading_length % recursion::group == 0);

template <bool fades>
QUEL_INLINE bool synthesize_and_filter(const Recursion& synthesis, const Recursion& postfilter,
                                       const Recursion& fading) {
  using namespace recursion;
  AllPole<order> first, second, old;
  first.start(synthesis.a, synthesis.past);
  second.start(postfilter.a, postfilter.past);
  Ones last = first.last(), last_second = second.last(), last_old = last_second;
  if constexpr (fades) old.start(fading.a, fading.past);
  const float* x = synthesis.x;
  const FloatInput excitation = {x};
  const DoubleInput between = {first.outputs()};
  Mask different{};
  for (int n = 0; n < length; n += group) {
    const bool fading_group = fades && n < fading_length;
    for (int i = n; i < n + group; i += block) {
      last = first.guess<false>(i, load_block(x + i), last);
      const Block passed = put_together(last);
      last_second = second.guess<false>(i, passed, last_second);
      if (fading_group) last_old = old.guess<false>(i, passed, last_old);
    }
    // A group late: what has just been stored is not quickly loaded in other pieces.
    if (n == 0) continue;
    different |= first.differences(n - group, excitation) | second.differences(n - group, between);
  }
  if (spoiled()) second.outputs()[length - 1] *= -1.0;
  different |=
      first.differences(length - group, excitation) | second.differences(length - group, between);
  if constexpr (fades) {
    for (int n = 0; n < fading_length; n += group) different |= old.differences(n, between);
  }
  if (any(different) || !all_sane(first.outputs(), length)) return false;
  for (int i = 0; i < order; ++i) {
    synthesis.past[i] = static_cast<float>(first.outputs()[length - order + i]);
    postfilter.past[i] = static_cast<float>(second.outputs()[length - order + i]);
  }
  store_floats(postfilter.y, second.outputs(), length);
  if constexpr (fades) store_floats(fading.y, old.outputs(), fading_length);
  return true;
}

}  // namespace output

/// A subframe of syn_filt of order 16 and, behind it, of another one, whose output alone is
/// written; and where it is not null of a third one behind the first, over 32 samples, whose memory
/// does not move on. Of `postfilter` and `fading` x is not looked at, of `synthesis` y. Returns
/// false, and has written nothing, where a guess does not prove right or a sample between the two
/// is not sane.
static bool synthesize_and_filter(const Recursion& synthesis, const Recursion& postfilter,
                                  const Recursion* fading) {
  if (fading == nullptr) {
    return output::synthesize_and_filter<false>(synthesis, postfilter, postfilter);
  }
  return output::synthesize_and_filter<true>(synthesis, postfilter, *fading);
}

}  // namespace quel::QUEL_SET
