#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace quel {

// Field widths of the wideband serial-word format: mode 0 is what flavor 3 sends; mode 1 gives each
// subframe's codebook 85 bits instead of 45.
inline constexpr std::int32_t bitno[] = {1, 7, 8, 7, 7, 7,        //
                                         9, 4, 9, 9, 9, 9, 9, 5,  //
                                         6, 4, 9, 9, 9, 9, 9, 5};
inline constexpr std::int32_t bitno2[] = {1, 7, 8, 7, 7, 7,                       //
                                          9, 4, 9, 9, 9, 9, 9, 8, 8, 8, 8, 8, 5,  //
                                          6, 4, 9, 9, 9, 9, 9, 8, 8, 8, 8, 8, 5};

/// Fields of a mode; empty for any mode but 0 and 1.
constexpr std::span<const std::int32_t> serial_fields(std::int32_t mode) {
  if (mode == 0) return bitno;
  if (mode == 1) return bitno2;
  return {};
}

/// Words that a mode's fields take, one per bit.
constexpr std::int32_t serial_bits(std::int32_t mode) {
  std::int32_t sum = 0;
  for (const std::int32_t width : serial_fields(mode)) sum += width;
  return sum;
}
static_assert(serial_fields(0).size() == 22 && serial_bits(0) == 160);
static_assert(serial_fields(1).size() == 32 && serial_bits(1) == 240);

}  // namespace quel
