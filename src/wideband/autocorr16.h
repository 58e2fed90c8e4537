#pragma once

#include <array>

namespace quel {

/// Windowed autocorrelation of the wideband coder: r[k] = sum over i of y[i] y[i-k], y = x * w,
/// r[0] at least 1 so that silence leaves the recursion defined (a NaN stays).
///
/// x  [0..n-1] signal
/// r  [0..m] output
/// m  order, 0..n-1
/// n  samples; as many floats of scratch are taken
/// w  [0..n-1] window
void autocorr16(const float* x, float* r, int m, int n, const float* w);

/// Lag window that a wideband encoder starts with, init_lag_wind(60, 16000, 1.00003, 16).
/// Immutable.
extern const std::array<float, 17> lag_window16;

/// Gaussian lag window with white-noise correction: entry 0 is `noise`, entry i is
/// exp(-0.5 (2 pi f0 i / fs)^2).
///
/// lag_window  [0..m] output
/// f0          bandwidth, Hz
/// fs          sampling rate, Hz, not 0
/// noise       factor on r[0], just above 1
/// m           order, >= 0
void init_lag_wind(float* lag_window, float f0, float fs, float noise, int m);

/// r[i] *= lag_window[i], i = 0..m, in place.
void lag_wind16(const float* lag_window, float* r, int m);

}  // namespace quel
