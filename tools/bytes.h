#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quel::tools {

/// Unsigned number of bytes.size() bytes (1..8), least significant byte first.
inline std::uint64_t little_endian(std::span<const std::uint8_t> bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) value = value << 8 | bytes[i];
  return value;
}

/// The same, most significant byte first.
inline std::uint64_t big_endian(std::span<const std::uint8_t> bytes) {
  std::uint64_t value = 0;
  for (const std::uint8_t byte : bytes) value = value << 8 | byte;
  return value;
}

/// Appends the low `count` bytes of `value`, least significant first.
inline void append_little_endian(std::vector<std::uint8_t>& bytes, std::uint64_t value, int count) {
  for (int i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

}  // namespace quel::tools
