#pragma once

#include "dsp/recursion_kernel.h"
#include "narrowband/kernels.h"

// The filters of a decoder's subframe. They take each other's outputs, or have nothing to do with
// each other; either way one need not wait for the other's end.
namespace quel::QUEL_SET {

namespace subframe {

constexpr int length = 48;
constexpr int order = 10;
static_assert(length % recursion::group == 0 && length <= stretch_max);

/// An all-pole filter of the subframe, and what the kernel keeps of it in registers.
class Synthesis {
 public:
  QUEL_MEMBER void start(const Recursion& r) {
    filter_.start(r.a, r.past);
    x_ = r.x;
  }
  QUEL_MEMBER recursion::Ones last() const { return filter_.last(); }
  QUEL_MEMBER recursion::Block guess(int n, recursion::Ones& last) {
    last = filter_.template guess<false>(n, recursion::load_block(x_ + n), last);
    return recursion::put_together(last);
  }
  QUEL_MEMBER Mask differences(int n) const {
    return filter_.differences(n, recursion::FloatInput{x_});
  }
  QUEL_MEMBER double* outputs() { return filter_.outputs(); }
  QUEL_MEMBER void store_outputs(float* y) { recursion::store_floats(y, outputs(), length); }
  QUEL_MEMBER void remember(float* past) {
    for (int i = 0; i < order; ++i) past[i] = static_cast<float>(outputs()[length - order + i]);
  }

 private:
  recursion::AllPole<order> filter_;
  const float* x_;
};

template <bool with_pulses>
QUEL_INLINE bool synthesize_and_pass(const Recursion& synthesis, const HighPass& high_pass,
                                     const Recursion& pulses) {
  using namespace recursion;
  Synthesis filter, pulse_filter;
  SecondOrder pass;
  filter.start(synthesis);
  pass.start(high_pass.a, high_pass.b, high_pass.memx, high_pass.memy);
  if constexpr (with_pulses) pulse_filter.start(pulses);
  Ones last = filter.last(), last_passed = pass.last(), last_pulse{};
  if constexpr (with_pulses) last_pulse = pulse_filter.last();
  Block last_x = pass.last_input();
  Mask different{};
  for (int n = 0; n < length; n += group) {
    for (int i = n; i < n + group; i += block) {
      const Block x = filter.guess(i, last);
      if constexpr (with_pulses) pulse_filter.guess(i, last_pulse);
      last_passed = pass.guess(i, x, last_x, last_passed);
      last_x = x;
    }
    // A group late: what has just been stored is not quickly loaded in other pieces.
    if (n == 0) continue;
    different |= filter.differences(n - group) | pass.differences(n - group);
    if constexpr (with_pulses) different |= pulse_filter.differences(n - group);
  }
  if (spoiled()) pass.outputs()[length - 1] *= -1.0;
  different |= filter.differences(length - group) | pass.differences(length - group);
  if constexpr (with_pulses) different |= pulse_filter.differences(length - group);
  if (any(different) || !all_sane(filter.outputs(), length)) return false;
  filter.remember(synthesis.past);
  store_floats(high_pass.y, pass.outputs(), length);
  pass.remember(length, high_pass.memx, high_pass.memy);
  if constexpr (with_pulses) pulse_filter.store_outputs(pulses.y);
  return true;
}

}  // namespace subframe

/// A subframe of syn_filt of order 10 and, behind it, of hp_2nd, whose output alone is written; and
/// beside them `pulses`, a syn_filt whose memory is not, where it is not null. Returns false, and
/// has written nothing, where a guess does not prove right or a sample of the synthesis is not
/// sane.
static bool synthesize_and_pass(const Recursion& synthesis, const HighPass& high_pass,
                                const Recursion* pulses) {
  if (pulses == nullptr) {
    return subframe::synthesize_and_pass<false>(synthesis, high_pass, synthesis);
  }
  return subframe::synthesize_and_pass<true>(synthesis, high_pass, *pulses);
}

/// A subframe of agc's gain, from `gain` towards where `step` leads, and of hp_2nd behind it.
/// Returns false, and has written nothing, where a guess does not prove right or a sample of x
/// times the gain is not sane.
static bool level_and_pass(const float* x, float fac, float step, float* gain,
                           const HighPass& high_pass) {
  using namespace recursion;
  using namespace subframe;
  SecondOrder pass;
  pass.start(high_pass.a, high_pass.b, high_pass.memx, high_pass.memy);
  double gains[1 + length];
  gains[0] = *gain;
  const One factor = {fac, 0.0}, added = {step, 0.0};
  One last_gain = {*gain, 0.0};
  Ones last_passed = pass.last();
  Block last_x = pass.last_input();
  Mask different{};
  const auto prove = [&](int n) {
    different |= pass.differences(n);
    for (int p = n; p < n + group; p += lanes) {
      const Double sum =
          add_exact(splat<Double>(static_cast<double>(step)),
                    splat<Double>(static_cast<double>(fac)), load<Double>(gains + p));
      different |= different_bits(sum, load<Double>(gains + 1 + p));
    }
  };
  for (int n = 0; n < length; n += group) {
    for (int i = n; i < n + group; i += block) {
      Ones now;
      for (int j = 0; j < block; ++j) {
        last_gain = rounded_one<false>(add_exact(added, factor, last_gain));
        now.x[j] = last_gain;
        gains[1 + i + j] = last_gain[0];
      }
      const Block levelled = rounded_block(load_block(x + i) * put_together(now));
      last_passed = pass.guess(i, levelled, last_x, last_passed);
      last_x = levelled;
    }
    if (n > 0) prove(n - group);
  }
  if (spoiled()) pass.outputs()[length - 1] *= -1.0;
  prove(length - group);
  if (any(different) || !all_sane(pass.inputs(), length)) return false;
  *gain = static_cast<float>(last_gain[0]);
  store_floats(high_pass.y, pass.outputs(), length);
  pass.remember(length, high_pass.memx, high_pass.memy);
  return true;
}

/// find_exc and, of what it gives, exc - attenuation * code in `enhanced` [0..47]. Returns whether
/// exc is then sane.
static bool mix_excitation(float* exc, const float* code, float gain_pit, float gain_code,
                           double attenuation, float* enhanced) {
  const Double pit = splat<Double>(static_cast<double>(gain_pit));
  const Double innovation = splat<Double>(static_cast<double>(gain_code));
  Mask outside{};
  for (int n = 0; n < subframe::length; n += lanes) {
    const Double c = widen(load<Half>(code + n));
    const Double sum = add_exact(innovation * c, pit, widen(load<Half>(exc + n)));
    const Double total = rounded(sum);
    store(exc + n, narrow(total));
    store(enhanced + n, narrow(total - attenuation * c));
    outside |= ~((total >= splat<Double>(-1e9)) & (total <= splat<Double>(1e9)));
  }
  return !any(outside);
}

}  // namespace quel::QUEL_SET
