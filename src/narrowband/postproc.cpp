#include "narrowband/postproc.h"

#include "dsp/add_squares.h"
#include "dsp/invsqrt.h"

namespace quel {
void init_preemph(Preemphasis& state) {
  state.mem_pre = 0.0f;
}

void init_agc(GainControl& state) {
  state.gain_prec = 1.0f;
}

void preemph(Preemphasis& state, float* x, float mu, int n) {
  const float last = x[n - 1];
  for (int k = n - 1; k > 0; --k) {
    x[k] = static_cast<float>(x[k] - static_cast<double>(mu) * x[k - 1]);
  }
  x[0] = static_cast<float>(x[0] - static_cast<double>(mu) * state.mem_pre);
  state.mem_pre = last;
}

bool agc_step(const float* ref, const float* x, int n, float fac, float* step) {
  const double energy = add_squares(0.0, x, n);
  const double wanted = add_squares(0.0, ref, n);
  if (energy == 0.0) return false;
  *step = 0.0f;
  if (wanted != 0.0) *step = static_cast<float>((1.0f - fac) * invsqrt(energy / wanted));
  return true;
}

void agc(GainControl& state, const float* ref, float* x, int n, float fac) {
  float step = 0.0f;
  if (!agc_step(ref, x, n, fac, &step)) {
    state.gain_prec = 0.0f;
    return;
  }
  float gain = state.gain_prec;
  for (int k = 0; k < n; ++k) {
    gain = static_cast<float>(static_cast<double>(gain) * fac + step);
    x[k] = x[k] * gain;
  }
  state.gain_prec = gain;
}

}  // namespace quel
