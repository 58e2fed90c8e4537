#include "narrowband/ltp.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "dsp/convolve.h"
#include "dsp/interpolate.h"
#include "dsp/invsqrt.h"
#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"
#include "dsp/scratch.h"

namespace quel {
namespace {

constexpr int subframe = 48;
constexpr int margin = 4;  // lags on either side of the search that interpolation reads

constexpr double bias = 0.01f;

// norm_corr with corr[0] for lag t_min.
void plain_correlate(const float* exc, const float* xn, const float* h, int t_min, int t_max,
                     float* corr) {
  Scratch excf(subframe);
  plain::convolve(exc - t_min, h, excf.data(), subframe);
  for (int k = t_min; k <= t_max; ++k) {
    if (k > t_min) {
      // One sample more of delay: a new sample enters in front, the rest moves on by one.
      const double e = exc[-k];
      for (int j = subframe - 1; j > 0; --j) {
        excf[j] = static_cast<float>(excf[j - 1] + e * h[j]);
      }
      excf[0] = exc[-k];
    }
    double xy = 0.0;
    double yy = bias;
    for (int j = 0; j < subframe; ++j) {
      xy += static_cast<double>(xn[j]) * excf[j];
      yy += static_cast<double>(excf[j]) * excf[j];
    }
    corr[k - t_min] = static_cast<float>(xy * invsqrt(yy));
  }
}

void correlate(const float* exc, const float* xn, const float* h, int t_min, int t_max,
               float* corr) {
  constexpr std::size_t most = 24;
  const int lags = t_max - t_min;  // beside the first
  if (lags < 0 || lags > static_cast<int>(most))
    return plain_correlate(exc, xn, h, t_min, t_max, corr);
  std::array<double, 1 + most> xy{0.0}, yy{bias};
  std::array<float, 1 + most> unused;
  Scratch excf(subframe);
  convolve(exc - t_min, h, excf.data(), subframe);
  dsp_kernels().delayed_products({h, xn, subframe, subframe, bias}, exc - t_min - 1, excf.data(),
                                 lags, &xy[1], &yy[1], &unused[1], &unused[1]);
  for (int j = 0; j < subframe; ++j) {
    xy[0] += static_cast<double>(xn[j]) * excf[j];
    yy[0] += static_cast<double>(excf[j]) * excf[j];
  }
  for (std::size_t i = 0; i <= static_cast<std::size_t>(lags); ++i) {
    corr[i] = static_cast<float>(xy[i] * invsqrt(yy[i]));
  }
  if constexpr (check_kernels) {
    std::vector<float> wanted(corr, corr + lags + 1);
    plain_correlate(exc, xn, h, t_min, t_max, wanted.data());
    require_same("narrowband::norm_corr", corr, wanted.data(), lags + 1);
  }
}

// The best lag in thirds among T0 and its four neighbours; corr[0] belongs to T0.
int best_third(const float* corr, int T0, int* frac) {
  struct Candidate {
    int step, phase;
  };
  constexpr Candidate candidates[] = {{0, 0}, {-1, 1}, {0, -1}, {0, 1}, {1, -1}};
  Candidate best = candidates[0];
  float max = 0.0f;
  for (const Candidate& candidate : candidates) {
    float value = 0.0f;
    interpol(corr + candidate.step, &value, narrowband::inter3_1, 4, candidate.phase, 1);
    if (&candidate == candidates || value > max) {
      max = value;
      best = candidate;
    }
  }
  *frac = best.phase;
  return T0 + best.step;
}

}  // namespace

namespace narrowband {

void norm_corr(const float* exc, const float* xn, const float* h, int t_min, int t_max,
               float* corr) {
  correlate(exc, xn, h, t_min, t_max, corr + t_min);
}

void plain::norm_corr(const float* exc, const float* xn, const float* h, int t_min, int t_max,
                      float* corr) {
  plain_correlate(exc, xn, h, t_min, t_max, corr + t_min);
}

}  // namespace narrowband

int pitch_fr(const float* exc, const float* xn, const float* h, int t0_min, int t0_max, int i_subfr,
             int* frac) {
  const int t_min = t0_min - margin;
  const int t_max = t0_max + margin;
  Scratch corr(t_max - t_min + 1);
  correlate(exc, xn, h, t_min, t_max, corr.data());

  int T0 = t0_min;
  for (int k = t0_min + 1; k <= t0_max; ++k) {
    if (corr[k - t_min] > corr[T0 - t_min]) T0 = k;
  }
  if (i_subfr == 0 && T0 >= 85) {
    *frac = 0;
    return T0;
  }
  return best_third(corr.data() + (T0 - t_min), T0, frac);
}

float limited_pitch_gain(double gain, bool crowded) {
  float g = static_cast<float>(gain);
  if (g > 1.2f) g = 1.2f;
  if (g < 0.0f) g = 0.0f;
  if (crowded && g > 0.95f) g = 0.95f;
  return g;
}

void interpol(const float* x, float* y, const float* tab, int L_half, int frac, int n) {
  const int taps = 2 * L_half;
  const float* first = x + 1 - L_half;
  const float* coefficient = tab + (frac > 0 ? 1 : 0);
  int step = 2;
  if (frac < 0) {
    first = x - L_half;
    coefficient = tab + 4 * L_half - 1;
    step = -2;
  }
  for (int j = 0; j < n; ++j) {
    double sum = 0.0;
    for (int k = 0; k < taps; ++k) {
      sum += static_cast<double>(first[j + k]) * coefficient[k * step];
    }
    y[j] = static_cast<float>(sum);
  }
}

namespace {

constexpr int reach = 10;  // taps a side

// By phase, -1 to 1 third of a sample, where the signal is read forwards. As `interpol`, with the
// phase against the lag's sign.
constexpr auto filters = [] {
  std::array<std::array<double, 2 * reach>, 3> filter{};
  for (std::size_t k = 0; k < 2 * reach; ++k) {
    filter[0][k] = narrowband::inter3_2[2 * k + 1];
    filter[1][k] = narrowband::inter3_2[2 * k];
    filter[2][k] = narrowband::inter3_2[4 * reach - 1 - 2 * k];
  }
  return filter;
}();
constexpr auto places = [] {
  std::array<int, 2 * reach> place{};
  for (std::size_t k = 0; k < place.size(); ++k) place[k] = static_cast<int>(k);
  return place;
}();

}  // namespace

void pred_lt(float* exc, int T0, int frac, int L) {
  T0 = std::clamp(T0, 11, 144);
  const float* first = exc - T0 - (frac > 0 ? reach : reach - 1);
  const std::size_t phase = frac > 0 ? 2 : frac < 0 ? 0 : 1;
  interpolate(filters[phase].data(), places.data(), first, exc, L);
}

}  // namespace quel
