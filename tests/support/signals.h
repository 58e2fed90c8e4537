#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace quel::test {

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

/// n white Gaussian samples of the given deviation.
std::vector<float> noise(int n, std::uint64_t seed, double deviation = 1000.0);

/// n samples like voiced and unvoiced speech: pulse trains of gliding pitch and noise bursts
/// through three moving resonances, with pauses; peak 20000.
std::vector<float> speech_like(int n, std::uint64_t seed, double sampling_rate = 8000.0);

/// speech_like rounded to PCM.
std::vector<std::int16_t> speech_like_pcm(int n, std::uint64_t seed, double sampling_rate = 8000.0);

/// [0..m] coefficients of a stable, speech-like A(z) with a[0] = 1, from random reflection
/// coefficients within +-0.9.
std::vector<float> stable_filter(int m, std::uint64_t seed);

/// Sum over i of x[i] * y[i] in double.
double dot(const std::vector<float>& x, const std::vector<float>& y);

/// 64-bit FNV-1a digest of n bytes.
std::uint64_t digest(const void* data, std::size_t n, std::uint64_t start = 0xcbf29ce484222325u);

}  // namespace quel::test
