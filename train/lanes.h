#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

// Elementary functions and sums that compilers vectorise: no branch, no call, and sums in as many
// lanes as the widest processor has, so that every processor adds in the same order.
namespace quel::train {

inline constexpr std::size_t lanes = 16;

/// exp(x) for x in -87..0, to seven digits; 0 or nearly so below.
inline float fast_exp(float x) {
  const float held = x < -87.0f ? -87.0f : x;
  constexpr float round_to_integer = 12582912.0f;  // 1.5 * 2^23: the integer is in the last bits
  const float shifted = held * 1.44269504f + round_to_integer;
  const float whole = shifted - round_to_integer;
  const float f = held * 1.44269504f - whole;  // -0.5..0.5
  float p = 1.535336188e-4f;
  p = p * f + 1.339887440e-3f;
  p = p * f + 9.618437357e-3f;
  p = p * f + 5.550332471e-2f;
  p = p * f + 2.402264791e-1f;
  p = p * f + 6.931472028e-1f;
  p = p * f + 1.0f;
  const auto exponent = std::bit_cast<std::uint32_t>(shifted) << 23;
  return std::bit_cast<float>(std::bit_cast<std::uint32_t>(p) + exponent);
}

/// ln(x) for normal x > 0, to some six digits.
inline float fast_log(float x) {
  // Mantissa in sqrt(1/2)..sqrt(2), so that x near 1 keeps its digits.
  const std::uint32_t bits = std::bit_cast<std::uint32_t>(x) - 0x3f3504f3u;
  const auto exponent = static_cast<std::int32_t>(bits) >> 23;
  const float m = std::bit_cast<float>((bits & 0x7fffffu) + 0x3f3504f3u);
  const float z = (m - 1.0f) / (m + 1.0f);
  const float zz = z * z;
  const float series =
      2.0f + zz * (0.666666667f + zz * (0.4f + zz * (0.285714286f + zz * 0.2222222f)));
  return z * series + static_cast<float>(exponent) * 0.693147181f;
}

/// cos(pi x) for x in 0..1, to seven digits.
inline float fast_cos_pi(float x) {
  const float y = (0.5f - x) * 3.14159265f;
  const float yy = y * y;
  float p = -2.505210839e-8f;
  p = p * yy + 2.755731922e-6f;
  p = p * yy - 1.984126984e-4f;
  p = p * yy + 8.333333333e-3f;
  p = p * yy - 1.666666667e-1f;
  return y + y * yy * p;
}

/// Sum over i of term(i), count being a multiple of the lanes.
template <class Term>
float sum_in_lanes(std::size_t count, Term term) {
  std::array<float, lanes> sums{};
  for (std::size_t i = 0; i < count; i += lanes) {
    for (std::size_t l = 0; l < lanes; ++l) sums[l] += term(i + l);
  }
  for (std::size_t half = lanes / 2; half > 0; half /= 2) {
    for (std::size_t l = 0; l < half; ++l) sums[l] += sums[l + half];
  }
  return sums[0];
}

}  // namespace quel::train
