#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "conformance/random.h"

namespace quel::test {

/// Digest of a table's exact values, the same on every host.
inline std::uint64_t table_digest(const float* values, std::size_t n) {
  std::uint64_t sum = conformance::digest(nullptr, 0);
  for (std::size_t i = 0; i < n; ++i) {
    const auto bits = std::bit_cast<std::uint32_t>(values[i]);
    const std::array<std::uint8_t, 4> bytes = {
        static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8),
        static_cast<std::uint8_t>(bits >> 16), static_cast<std::uint8_t>(bits >> 24)};
    sum = conformance::digest(bytes.data(), bytes.size(), sum);
  }
  return sum;
}

template <std::size_t rows, std::size_t columns>
std::uint64_t table_digest(const float (&table)[rows][columns]) {
  return table_digest(&table[0][0], rows * columns);
}

template <std::size_t n>
std::uint64_t table_digest(const float (&table)[n]) {
  return table_digest(table, n);
}

template <std::size_t n>
std::uint64_t table_digest(const std::array<float, n>& table) {
  return table_digest(table.data(), n);
}

}  // namespace quel::test
