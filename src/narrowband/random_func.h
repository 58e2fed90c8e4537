#pragma once

#include <cstdint>

namespace quel {

/// Next value of the decoders' 16-bit linear congruential generator:
/// seed = (seed * 31821 + 13849) mod 2^16, taken as signed.
inline std::int16_t random_func(std::int16_t& seed) {
  const auto next = static_cast<std::uint16_t>(static_cast<std::uint32_t>(seed) * 31821u + 13849u);
  seed = static_cast<std::int16_t>(next);
  return seed;
}

}  // namespace quel
