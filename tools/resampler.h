#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace quel::tools {

/// round(samples * to / from), halves up.
std::uint64_t resampled_length(std::uint64_t samples, int from, int to);

/// Changes the sampling rate of a mono signal piece by piece, aligned to the sample.
class Resampler {
 public:
  /// from, to  Hz, > 0; where they are equal samples pass as they are
  Resampler(int from, int to);
  ~Resampler();
  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  /// Appends to `out` what so far is certain.
  void process(std::span<const float> in, std::vector<float>& out);

  /// Appends the rest: in all resampled_length() of what went in.
  void finish(std::vector<float>& out);

 private:
  struct Impl;
  void run(const float* in, std::size_t count, std::vector<float>& out);

  int from_, to_;
  std::uint64_t taken_ = 0;
  std::uint64_t given_ = 0;
  std::unique_ptr<Impl> impl_;  // null where the rates are equal
};

}  // namespace quel::tools
