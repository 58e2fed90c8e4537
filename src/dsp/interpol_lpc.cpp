#include "dsp/interpol_lpc.h"

#include <algorithm>
#include <array>
#include <vector>

#include "dsp/isp2a.h"
#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"

namespace quel {
namespace {

constexpr int M = 10;
constexpr int most = 8;  // subframes at a time

}  // namespace

void plain::interpol_lpc(const float* isp_new, const float* isp_old, float* A, int nb_subfr) {
  std::array<float, M> isp;
  const float step = 1.0f / static_cast<float>(nb_subfr);
  float weight = 0.5f / static_cast<float>(nb_subfr);
  for (int k = 0; k < nb_subfr; ++k) {
    const float old_weight = 1.0f - weight;
    for (std::size_t i = 0; i < M; ++i) {
      isp[i] = static_cast<float>(static_cast<double>(old_weight) * isp_old[i] +
                                  static_cast<double>(weight) * isp_new[i]);
    }
    isp2a(isp.data(), A + k * (M + 1), M);
    weight += step;
  }
}

void interpol_lpc(const float* isp_new, const float* isp_old, float* A, int nb_subfr) {
  const float step = 1.0f / static_cast<float>(nb_subfr);
  float weight = 0.5f / static_cast<float>(nb_subfr);
  for (int first = 0; first < nb_subfr; first += most) {
    const int count = std::min(most, nb_subfr - first);
    std::array<float, most> weights;
    for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
      weights[k] = weight;
      weight += step;
    }
    dsp_kernels().interpolated_filters(isp_new, isp_old, weights.data(), count,
                                       A + first * (M + 1));
  }
  if constexpr (check_kernels) {
    const int size = std::max(nb_subfr, 0) * (M + 1);
    std::vector<float> wanted(static_cast<std::size_t>(size));
    plain::interpol_lpc(isp_new, isp_old, wanted.data(), nb_subfr);
    require_same("interpol_lpc", A, wanted.data(), size);
  }
}

}  // namespace quel
