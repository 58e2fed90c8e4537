#include "narrowband/find_F.h"

#include <array>

#include "dsp/syn_filt.h"
#include "dsp/vector.h"
#include "dsp/weight_a.h"

namespace quel {

namespace {

constexpr int L = 48;
constexpr int M = 10;

}  // namespace

void start_F(const float* A, float* F, float* denominator) {
  pondai(A, F, 0.55f, M);
  set_zero(F + M + 1, L - M - 1);
  pondai(A, denominator, 0.7f, M);
}

void sharpen_F(const Mode& mode, int T0, float* F) {
  if (T0 < 1) return;  // no lag codes this; it would read ahead
  const bool short_frames = mode.initFlavor == 0 || mode.initFlavor == 1;
  const double beta = short_frames ? 0.8f : 0.85f;
  for (int n = T0; n < L; ++n) F[n] = static_cast<float>(F[n] + beta * F[n - T0]);
}

void find_F(const Mode& mode, const float* A, int T0, float* F) {
  std::array<float, M + 1> denominator{};
  std::array<float, M> zero_state{};
  start_F(A, F, denominator.data());
  syn_filt(denominator.data(), M, F, F, L, zero_state.data(), 0);
  sharpen_F(mode, T0, F);
}

void filter_with_pulses(const float* a, const float* x, float* y, float* mem,
                        const Pulses& pulses) {
  if (pulses.A_next == nullptr) return syn_filt(a, M, x, y, L, mem, 1);
  std::array<float, M + 1> denominator;
  std::array<float, M> silence{};
  start_F(pulses.A_next, pulses.next, denominator.data());
  syn_filt_both(M, {a, x, y, L, mem, 1},
                {denominator.data(), pulses.next, pulses.next, L, silence.data(), 0});
}

void find_exc(float* exc, const float* code, float gain_pit, float gain_code, int L) {
  for (int n = 0; n < L; ++n) {
    exc[n] = static_cast<float>(static_cast<double>(gain_pit) * exc[n] +
                                static_cast<double>(gain_code) * code[n]);
  }
}

}  // namespace quel
