#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace quel::tools {

/// SHA-256 (FIPS 180-4).
class Sha256 {
 public:
  void add(std::span<const std::uint8_t> bytes);

  /// The digest's bytes; nothing may be added after it.
  std::array<std::uint8_t, 32> digest();

  /// 64 hexadecimal digits; nothing may be added after it.
  std::string hex();

 private:
  void block(const std::uint8_t* bytes);

  std::array<std::uint32_t, 8> state_ = {0x6a09e667u, 0xbb67ae85u, 0x3c6ef372u, 0xa54ff53au,
                                         0x510e527fu, 0x9b05688cu, 0x1f83d9abu, 0x5be0cd19u};
  std::array<std::uint8_t, 64> partial_{};
  std::uint64_t bytes_ = 0;
};

struct FileDigest {
  std::uint64_t bytes = 0;
  std::string sha256;
};

/// Throws FileError.
FileDigest digest_file(const std::string& path);

}  // namespace quel::tools
