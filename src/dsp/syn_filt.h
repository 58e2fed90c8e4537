#pragma once

namespace quel {

/// All-pole synthesis 1/A(z).
///
/// a       [0..m] LP filter, a[0] = 1
/// m       order, 1..16
/// x       [0..lg-1] input
/// y       [0..lg-1] output, in the unit of x; y may be x
/// lg      samples, > 0
/// mem     [0..m-1] last m outputs, oldest first
/// update  0 leaves mem as it was (trial filtering); otherwise mem moves on
///
/// Never fails; y grows without bound where the caller's A(z) is unstable.
void syn_filt(const float* a, int m, const float* x, float* y, int lg, float* mem, int update);

namespace plain {
/// The definition: what `syn_filt` gives to the bit, by kernels where there are any.
void syn_filt(const float* a, int m, const float* x, float* y, int lg, float* mem, int update);
}  // namespace plain

/// The wideband coder's name for `syn_filt`.
void syn_filt16(const float* a, int m, const float* x, float* y, int lg, float* mem, int update);

/// The arguments of one `syn_filt`, order apart.
struct SynFilt {
  const float* a;
  const float* x;
  float* y;
  int lg;
  float* mem;
  int update;
};

/// Two calls of `syn_filt` of order m, neither of which reads what the other writes, in little more
/// than the time of one: a recursion mostly waits for its last output.
void syn_filt_both(int m, const SynFilt& one, const SynFilt& other);

}  // namespace quel
