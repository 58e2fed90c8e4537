#include "conformance/random.h"

namespace quel::conformance {

std::uint32_t Random::bits() {
  // Steele and Vigna's splitmix64.
  state_ += 0x9e3779b97f4a7c15u;
  std::uint64_t z = state_;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  return static_cast<std::uint32_t>((z ^ (z >> 31)) >> 32);
}

double Random::uniform(double lo, double hi) {
  return lo + (hi - lo) * (bits() / 4294967296.0);
}

double Random::gauss() {
  double sum = -6.0;
  for (int i = 0; i < 12; ++i) sum += uniform(0.0, 1.0);
  return sum;
}

int Random::integer(int lo, int hi) {
  const auto span = static_cast<std::uint32_t>(hi - lo + 1);
  return lo + static_cast<int>(bits() % span);
}

std::uint64_t digest(const void* data, std::size_t n, std::uint64_t start) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  std::uint64_t hash = start;
  for (std::size_t i = 0; i < n; ++i) hash = (hash ^ bytes[i]) * 0x100000001b3u;
  return hash;
}

}  // namespace quel::conformance
