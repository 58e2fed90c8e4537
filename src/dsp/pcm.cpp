#include "dsp/pcm.h"

#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"

namespace quel {

void float_to_pcm(const float* x, std::int16_t* out, int n) {
  dsp_kernels().to_pcm(x, out, n);
  if constexpr (check_kernels) {
    for (int i = 0; i < n; ++i) {
      const int got = out[i], wanted = float_to_pcm(x[i]);
      require_same("float_to_pcm", &got, &wanted, 1);
    }
  }
}

}  // namespace quel
