#pragma once

#include <cstdint>

namespace quel {

/// Sample to 16-bit PCM: trunc(x + 0.5), truncation towards zero, clipped to -32768..32767. The
/// rounding is not symmetric: -0.9 gives 0 and -1.6 gives -1. Defined for every float: infinities
/// clip, NaN gives 0.
inline std::int16_t float_to_pcm(float x) {
  double y = static_cast<double>(x) + 0.5;
  y = y >= 32767.0 ? 32767.0 : y;
  y = y <= -32768.0 ? -32768.0 : y;
  y = y == y ? y : 0.0;
  return static_cast<std::int16_t>(static_cast<std::int32_t>(y));
}

/// out[i] = float_to_pcm(x[i]), i = 0..n-1.
void float_to_pcm(const float* x, std::int16_t* out, int n);

/// Sample of -1..1 to 16-bit PCM: 32768 times as large, rounded to nearest, ties to the even one,
/// clipped to -32768..32767. Defined for every float: infinities clip, NaN gives 0.
inline std::int16_t unit_to_pcm(float x) {
  const float y = 32768.0f * x;  // exact, or so large that it clips
  if (y >= 32767.0f) return 32767;
  if (y <= -32768.0f) return -32768;
  if (y != y) return 0;
  // By hand: the C library's rounding follows a mode that a program can change.
  auto whole = static_cast<std::int32_t>(y);
  if (static_cast<float>(whole) > y) --whole;  // downwards, as truncation is not below zero
  const float rest = y - static_cast<float>(whole);
  const bool up = rest > 0.5f || (rest == 0.5f && whole % 2 != 0);
  return static_cast<std::int16_t>(up ? whole + 1 : whole);
}

/// 16-bit PCM to a sample of -1..1: sample / 32768, which is exact.
inline float pcm_to_unit(std::int16_t sample) {
  return static_cast<float>(sample) / 32768.0f;
}

}  // namespace quel
