#include "dsp/interpol_lpc.h"

#include "dsp/isp2a.h"
#include "dsp/scratch.h"

namespace quel {

void interpol_lpc(const float* isp_new, const float* isp_old, float* A, int nb_subfr) {
  constexpr int M = 10;
  Scratch isp(M);
  const float step = 1.0f / static_cast<float>(nb_subfr);
  float weight = 0.5f / static_cast<float>(nb_subfr);
  for (int k = 0; k < nb_subfr; ++k) {
    const float old_weight = 1.0f - weight;
    for (int i = 0; i < M; ++i) {
      isp[i] = static_cast<float>(static_cast<double>(old_weight) * isp_old[i] +
                                  static_cast<double>(weight) * isp_new[i]);
    }
    isp2a(isp.data(), A + k * (M + 1), M);
    weight += step;
  }
}

}  // namespace quel
