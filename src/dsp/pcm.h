#pragma once

#include <cstdint>

namespace quel {

/// Sample to 16-bit PCM: trunc(x + 0.5), truncation towards zero, clipped to -32768..32767. The
/// rounding is not symmetric: -0.9 gives 0 and -1.6 gives -1. Defined for every float: infinities
/// clip, NaN gives 0.
inline std::int16_t float_to_pcm(float x) {
  const double y = static_cast<double>(x) + 0.5;
  if (y >= 32767.0) return 32767;
  if (y <= -32768.0) return -32768;
  if (y != y) return 0;
  return static_cast<std::int16_t>(y);
}

/// out[i] = float_to_pcm(x[i]), i = 0..n-1.
inline void float_to_pcm(const float* x, std::int16_t* out, int n) {
  for (int i = 0; i < n; ++i) out[i] = float_to_pcm(x[i]);
}

}  // namespace quel
