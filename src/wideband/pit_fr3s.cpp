#include "wideband/pit_fr3s.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "dsp/invsqrt.h"
#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"
#include "dsp/scratch.h"

namespace quel {
namespace wideband {
namespace {

// The impulse response is cut here: beyond, an excitation that moves by one lag merely shifts.
constexpr int taps = 40;

double energy_of(const float* x, int from, int to) {
  double sum = 0.0;
  for (int k = from; k < to; ++k) sum += static_cast<double>(x[k]) * x[k];
  return sum;
}

// The excitation delayed by t, through the cut response.
void filter_past(const float* exc, const float* h, int t, float* excf, int L) {
  for (int k = 0; k < L; ++k) {
    double sum = exc[k - t];
    const int last = std::min(k, taps - 1);
    for (int j = 1; j <= last; ++j) sum += static_cast<double>(exc[k - j - t]) * h[j];
    excf[k] = static_cast<float>(sum);
  }
}

// From lag t-1 to lag t: one older sample enters at the front.
void step_lag(const float* exc, const float* h, int t, float* excf, int L) {
  std::copy_backward(excf + taps - 1, excf + L - 1, excf + L);
  const float s = exc[-t];
  for (int k = taps - 1; k >= 1; --k) {
    excf[k] = static_cast<float>(static_cast<double>(s) * h[k] + excf[k - 1]);
  }
  excf[0] = s;
}

}  // namespace

const std::array<float, 13> inter3_1 = {
    0.875141025f, 0.743600011f,   0.427587003f,  0.102489002f,  -0.087282002f,  -0.114665002f,
    -0.053413f,   0.00621399982f, 0.0246859994f, 0.0150030004f, 0.00243799994f, -0.00422800006f,
    0.0f};

void plain::norm_corr(const float* exc, const float* xn, const float* h, int t_min, int t_max,
                      float* corr, int L) {
  Scratch excf(L);
  const int first = t_min - 4, last = t_max + 4;
  filter_past(exc, h, first, excf.data(), L);
  // Kept in double from lag to lag: as a float it would gather a rounding error at each, relative
  // to the loudest lag passed.
  double tail = 0.01 + energy_of(excf.data(), taps, L);
  for (int t = first; t <= last; ++t) {
    if (t > first) {
      tail += static_cast<double>(excf[taps - 1]) * excf[taps - 1];
      tail -= static_cast<double>(excf[L - 1]) * excf[L - 1];
      if (tail < 0.0) tail = 0.0;
      step_lag(exc, h, t, excf.data(), L);
    }
    float energy = static_cast<float>(tail + energy_of(excf.data(), 0, taps));
    if (energy <= 0.0f) energy = 0.01f;
    double sum = 0.0;
    for (int k = 0; k < L; ++k) sum += static_cast<double>(xn[k]) * excf[k];
    corr[t - first] = static_cast<float>(sum * inv_sqrt(energy));
  }
}

void norm_corr(const float* exc, const float* xn, const float* h, int t_min, int t_max, float* corr,
               int L) {
  constexpr std::size_t most = 32;
  const int first = t_min - 4;
  const int lags = t_max + 4 - first;  // beside the first
  if (lags < 0 || lags > static_cast<int>(most) || L < taps || L > stretch_max) {
    return plain::norm_corr(exc, xn, h, t_min, t_max, corr, L);
  }
  Scratch excf(L);
  std::array<double, 1 + most> xy{0.0}, head{0.0};
  std::array<float, 1 + most> at_cut, at_end;
  dsp_kernels().cut_convolved(exc - first, h, excf.data(), taps, L);
  dsp_kernels().delayed_products({h, xn, taps, L, 0.0}, exc - first - 1, excf.data(), lags, &xy[1],
                                 &head[1], &at_cut[1], &at_end[1]);
  at_cut[0] = excf[taps - 1];
  at_end[0] = excf[L - 1];
  head[0] = energy_of(excf.data(), 0, taps);
  for (int k = 0; k < L; ++k) xy[0] += static_cast<double>(xn[k]) * excf[k];
  double tail = 0.01 + energy_of(excf.data(), taps, L);
  for (std::size_t i = 0; i <= static_cast<std::size_t>(lags); ++i) {
    if (i > 0) {
      tail += static_cast<double>(at_cut[i - 1]) * at_cut[i - 1];
      tail -= static_cast<double>(at_end[i - 1]) * at_end[i - 1];
      if (tail < 0.0) tail = 0.0;
    }
    float energy = static_cast<float>(tail + head[i]);
    if (energy <= 0.0f) energy = 0.01f;
    corr[i] = static_cast<float>(xy[i] * inv_sqrt(energy));
  }
  if constexpr (check_kernels) {
    std::vector<float> wanted(corr, corr + lags + 1);
    plain::norm_corr(exc, xn, h, t_min, t_max, wanted.data(), L);
    require_same("wideband::norm_corr", corr, wanted.data(), lags + 1);
  }
}

}  // namespace wideband

float interpolation(const float* c, int frac) {
  if (frac < 0) {
    frac += 3;
    --c;
  }
  const float* filter = wideband::inter3_1.data();
  double sum = 0.0;
  for (int i = 0; i < 4; ++i) {
    sum += static_cast<double>(c[-i]) * filter[frac + 3 * i];
    sum += static_cast<double>(c[1 + i]) * filter[3 - frac + 3 * i];
  }
  return static_cast<float>(sum);
}

int pitchfr3(const float* exc, const float* xn, const float* h, int t0_min, int t0_max, int* frac,
             int i_subfr, int L) {
  constexpr int first_whole_lag = 159;
  Scratch corr(t0_max - t0_min + 9);
  wideband::norm_corr(exc, xn, h, t0_min, t0_max, corr.data(), L);
  const float* at_min = corr.data() + 4;
  const int offset =
      static_cast<int>(std::max_element(at_min, at_min + (t0_max - t0_min + 1)) - at_min);
  const int T0 = t0_min + offset;
  *frac = 0;
  if (i_subfr == 0 && T0 >= first_whole_lag) return T0;

  int best = -2;
  float max = interpolation(at_min + offset, best);
  for (int f = -1; f <= 2; ++f) {
    const float value = interpolation(at_min + offset, f);
    if (value > max) {
      max = value;
      best = f;
    }
  }
  if (best == -2) {
    *frac = 1;
    return T0 - 1;
  }
  if (best == 2) {
    *frac = -1;
    return T0 + 1;
  }
  *frac = best;
  return T0;
}

}  // namespace quel
