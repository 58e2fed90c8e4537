#include "dsp/autocorr.h"

#include <numbers>
#include <vector>

#include "dsp/elementary.h"
#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"
#include "dsp/scratch.h"

namespace quel {
namespace {

constexpr std::array<float, 240> hamming() {
  std::array<float, 240> w{};
  for (int n = 0; n < 240; ++n) {
    const double angle = 2.0 * std::numbers::pi * n / 239.0;
    w[static_cast<std::size_t>(n)] = static_cast<float>(0.54 - 0.46 * cosine(angle));
  }
  return w;
}

}  // namespace

constexpr std::array<float, 240> window = hamming();

void plain::autocorr(const float* x, float* r, int m, int L, const float* window) {
  Scratch y(L);
  for (int n = 0; n < L; ++n) y[n] = x[n] * window[n];
  for (int k = 0; k <= m; ++k) {
    double sum = 0.0;
    for (int n = k; n < L; ++n) sum += static_cast<double>(y[n]) * y[n - k];
    r[k] = static_cast<float>(sum);
  }
  if (r[0] < 1.0f) r[0] = 1.0f;
}

void autocorr(const float* x, float* r, int m, int L, const float* window) {
  const DspKernels& kernels = dsp_kernels();
  const auto kernel = m == 10   ? kernels.autocorrelated10
                      : m == 16 ? kernels.autocorrelated16
                                : nullptr;
  if (kernel == nullptr || !kernel(x, r, L, window)) return plain::autocorr(x, r, m, L, window);
  if (r[0] < 1.0f) r[0] = 1.0f;
  if constexpr (check_kernels) {
    std::vector<float> wanted(r, r + m + 1);
    plain::autocorr(x, wanted.data(), m, L, window);
    require_same("autocorr", r, wanted.data(), m + 1);
  }
}

}  // namespace quel
