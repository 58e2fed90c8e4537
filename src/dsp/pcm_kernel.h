#pragma once

#include <cstdint>

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// float_to_pcm of x [0..n-1].
static void to_pcm(const float* x, std::int16_t* out, int n) {
  constexpr int group = 16;
  int i = 0;
  for (; i + group <= n; i += group) {
    int whole[group];
    for (int p = 0; p < group; p += lanes) {
      Double y = widen(load<Half>(x + i + p)) + 0.5;
      y = y >= 32767.0 ? splat<Double>(32767.0) : y;
      y = y <= -32768.0 ? splat<Double>(-32768.0) : y;
      y = y == y ? y : Double{};
      store(whole + p, __builtin_convertvector(y, HalfBits));
    }
    for (int k = 0; k < group; ++k) out[i + k] = static_cast<std::int16_t>(whole[k]);
  }
  for (; i < n; ++i) {
    double y = static_cast<double>(x[i]) + 0.5;
    y = y >= 32767.0 ? 32767.0 : y;
    y = y <= -32768.0 ? -32768.0 : y;
    y = y == y ? y : 0.0;
    out[i] = static_cast<std::int16_t>(static_cast<int>(y));
  }
}

}  // namespace quel::QUEL_SET
