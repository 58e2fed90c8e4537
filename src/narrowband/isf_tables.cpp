#include "narrowband/isf_tables.h"

#include "dsp/elementary.h"

namespace quel {

void isf_to_isp(const float* isf, float* isp) {
  for (int i = 0; i < 9; ++i) {
    isp[i] = static_cast<float>(cosine(isf[i] * 0.0007853981635));
  }
  isp[9] = static_cast<float>(static_cast<double>(0.0015384615f) * isf[9]);
}

}  // namespace quel
