#pragma once

#include <cstdint>

namespace quel::train {

/// Deterministic random numbers, the same on every platform (splitmix64, public domain method of
/// S. Vigna), so that a seed gives the same tables anywhere.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t bits() {
    std::uint64_t z = (state_ += 0x9e3779b97f4a7c15u);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
  }
  /// Uniform in 0..1, 1 excluded.
  double uniform() { return static_cast<double>(bits() >> 11) * 0x1p-53; }
  /// Uniform index below n.
  std::size_t index(std::size_t n) {
    return static_cast<std::size_t>(uniform() * static_cast<double>(n));
  }
  /// Roughly Gaussian, mean 0, deviation 1.
  double gauss() {
    double sum = -6.0;
    for (int i = 0; i < 12; ++i) sum += uniform();
    return sum;
  }

 private:
  std::uint64_t state_;
};

}  // namespace quel::train
