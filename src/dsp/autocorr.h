#pragma once

#include <array>

namespace quel {

/// Symmetric Hamming window of the narrowband LP analysis, 0.54 - 0.46 cos(2 pi n / 239).
extern const std::array<float, 240> window;

/// Windowed autocorrelation r[k] = sum over n of y[n] y[n-k], y = x * window, r[0] at least 1 so
/// that silence does not make the recursion divide by zero.
///
/// x       [0..L-1] signal
/// r       [0..m] output
/// m       order, >= 0
/// L       samples, > m, at most 480
/// window  [0..L-1]
void autocorr(const float* x, float* r, int m, int L, const float* window);

namespace plain {
/// The definition of `autocorr`.
void autocorr(const float* x, float* r, int m, int L, const float* window);
}  // namespace plain

}  // namespace quel
