#include "dsp/lp_fir.h"

namespace quel {
namespace {

constexpr float h_fir[5] = {0.140008122f, 0.226421207f, 0.272192061f, 0.226421207f, 0.140008122f};

float window_sum(float x0, float x1, float x2, float x3, float x4) {
  double sum = static_cast<double>(h_fir[0]) * x0;
  sum += static_cast<double>(h_fir[1]) * x1;
  sum += static_cast<double>(h_fir[2]) * x2;
  sum += static_cast<double>(h_fir[3]) * x3;
  sum += static_cast<double>(h_fir[4]) * x4;
  return static_cast<float>(sum);
}

}  // namespace

void lp_fir(LpFir& state, float* sig, int lg, int step) {
  const float first = window_sum(state.mem[0], state.mem[1], sig[0], sig[1], sig[2]);
  state.mem = {sig[lg - 2], sig[lg - 1]};
  for (int n = 1; n < lg / step; ++n) {
    const float* x = sig + n * step - 2;
    sig[n] = window_sum(x[0], x[1], x[2], x[3], x[4]);
  }
  sig[0] = first;  // last, since with step 2 the window of output 1 opens on sig[0]
}

}  // namespace quel
