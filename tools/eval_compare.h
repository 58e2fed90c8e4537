#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "dsp/snr.h"
#include "tools/eval_spectral.h"
#include "tools/eval_stoi.h"
#include "tools/quality.h"

namespace quel::tools {

/// All figures of a decoded signal beside its reference, piece by piece: memory does not grow with
/// their length. The figures are those that the routines over whole signals give.
class Comparison {
 public:
  /// rate     Hz
  /// loudest  of the whole reference, of LoudestFrame
  Comparison(int rate, double loudest);

  /// ref, test  of one length, in units of 16-bit PCM
  void add(std::span<const float> ref, std::span<const std::int16_t> test);

  /// Nothing may be added after it.
  void finish();

  std::optional<SnrFigures> snr() const { return snr_.figures(); }
  const SnrTotals& totals() const { return totals_; }
  std::optional<double> distortion() const { return spectral_.value(); }
  std::optional<Intelligibility> intelligible() const { return stoi_.value(); }

 private:
  void take_segment();

  std::size_t segment_;  // samples of 20 ms
  SnrMeter snr_;
  SnrTotals totals_;
  SpectralMeter spectral_;
  IntelligibilityMeter stoi_;
  std::vector<float> ref_, test_;  // of the segment that is being filled
};

}  // namespace quel::tools
