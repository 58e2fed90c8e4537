#pragma once

#include <cstddef>
#include <cstdint>

namespace quel::conformance {

/// Deterministic random numbers, the same on every platform (the standard distributions are not).
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed * 2 + 1) {}

  /// 32 random bits.
  std::uint32_t bits();
  /// Uniform in lo..hi.
  double uniform(double lo, double hi);
  /// Roughly Gaussian, mean 0, deviation 1 (sum of twelve uniforms).
  double gauss();
  /// Integer in lo..hi, both included.
  int integer(int lo, int hi);

 private:
  std::uint64_t state_;
};

/// 64-bit FNV-1a digest of n bytes.
std::uint64_t digest(const void* data, std::size_t n, std::uint64_t start = 0xcbf29ce484222325u);

}  // namespace quel::conformance
