#include "wideband/autocorr16.h"

#include <cstddef>

#include "dsp/autocorr.h"
#include "dsp/elementary.h"

namespace quel {
namespace {

constexpr void fill_lag_window(float* lag_window, float f0, float fs, float noise, int m) {
  lag_window[0] = noise;
  for (int i = 1; i <= m; ++i) {
    const double angle = static_cast<double>(6.2831855f) * f0 * i / fs;
    lag_window[i] = static_cast<float>(exponential(-0.5 * angle * angle));
  }
}

constexpr std::array<float, 17> lag_window_of_coder() {
  std::array<float, 17> w{};
  fill_lag_window(w.data(), 60.0f, 16000.0f, 1.00003f, 16);
  return w;
}

}  // namespace

constexpr std::array<float, 17> lag_window16 = lag_window_of_coder();

void autocorr16(const float* x, float* r, int m, int n, const float* w) {
  autocorr(x, r, m, n, w);
}

void init_lag_wind(float* lag_window, float f0, float fs, float noise, int m) {
  fill_lag_window(lag_window, f0, fs, noise, m);
}

void lag_wind16(const float* lag_window, float* r, int m) {
  for (int i = 0; i <= m; ++i) r[i] = r[i] * lag_window[i];
}

}  // namespace quel
