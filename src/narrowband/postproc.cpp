#include "narrowband/postproc.h"

#include "dsp/invsqrt.h"

namespace quel {
namespace {

struct Energies {
  double x = 0.0;
  double ref = 0.0;
};

// Both at once: each sum waits for itself.
Energies energies(const float* x, const float* ref, int n) {
  Energies e;
  for (int i = 0; i < n; ++i) {
    e.x += static_cast<double>(x[i]) * x[i];
    e.ref += static_cast<double>(ref[i]) * ref[i];
  }
  return e;
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
  const Energies e = energies(x, ref, n);
  if (e.x == 0.0) {
    state.gain_prec = 0.0f;
    return;
  }
  float g0 = 0.0f;
  if (e.ref != 0.0) g0 = static_cast<float>((1.0f - fac) * invsqrt(e.x / e.ref));
  float gain = state.gain_prec;
  for (int k = 0; k < n; ++k) {
    gain = static_cast<float>(static_cast<double>(gain) * fac + g0);
    x[k] = x[k] * gain;
  }
  state.gain_prec = gain;
}

}  // namespace quel
