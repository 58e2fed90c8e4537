#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace quel::tools {

/// n-point Hann window 0.5 - 0.5 cos(2 pi i / n): copies half a window apart add up to one.
std::vector<double> hann_window(std::size_t n);

/// Smallest power of two that is at least n, and at least 2.
std::size_t power_of_two(std::size_t n);

/// Power spectra of one size; radix 2, double precision.
class PowerSpectrum {
 public:
  /// size  points, a power of two >= 2
  explicit PowerSpectrum(std::size_t size);

  std::size_t bins() const { return power_.size(); }  ///< size / 2 + 1

  /// Squared magnitudes [0..size/2] of the transform of `frame`, zeros appended; they live until
  /// the next call.
  ///
  /// frame  [0..at most size-1]
  std::span<const double> of(std::span<const double> frame);

 private:
  void transform();

  std::vector<double> cos_, sin_;   // [0..size/2-1] of 2 pi i / size
  std::vector<std::size_t> order_;  // bit-reversed positions
  std::vector<double> re_, im_;
  std::vector<double> power_;
};

}  // namespace quel::tools
