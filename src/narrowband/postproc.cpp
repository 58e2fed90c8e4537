#include "narrowband/postproc.h"

#include "dsp/invsqrt.h"

namespace quel {
namespace {

double energy(const float* x, int n) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += static_cast<double>(x[i]) * x[i];
  return sum;
}

}  // namespace

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

void agc(GainControl& state, const float* ref, float* x, int n, float fac) {
  const double e_x = energy(x, n);
  if (e_x == 0.0) {
    state.gain_prec = 0.0f;
    return;
  }
  const double e_ref = energy(ref, n);
  float g0 = 0.0f;
  if (e_ref != 0.0) g0 = static_cast<float>((1.0f - fac) * invsqrt(e_x / e_ref));
  for (int k = 0; k < n; ++k) {
    state.gain_prec = static_cast<float>(static_cast<double>(state.gain_prec) * fac + g0);
    x[k] = x[k] * state.gain_prec;
  }
}

}  // namespace quel
