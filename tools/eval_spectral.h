#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "tools/eval_fft.h"

namespace quel::tools {

/// Log-spectral distortion in dB: how far the short-time spectrum of `test` is from that of `ref`,
/// whatever the phases do.
///
/// Frames of 20 ms, 10 ms apart, Hann windows, transform of the next power of two. Of each frame,
/// the root over the mean of the squared differences of both power spectra in dB, 0 Hz and the
/// Nyquist frequency included; of these, the mean over the active frames. Active is a frame whose
/// reference has a mean square above -50 dBov (full-scale square wave = 0 dBov). Powers below the
/// mean spectrum of 16-bit rounding noise (variance 1/12) count as that much: what lies below is no
/// property of the sound.
///
/// ref, test  of one length, in units of 16-bit PCM
/// rate       Hz, >= 100
///
/// Nothing where no frame is active.
std::optional<double> log_spectral_distortion(std::span<const float> ref,
                                              std::span<const float> test, int rate);

/// The same piece by piece.
class SpectralMeter {
 public:
  explicit SpectralMeter(int rate);
  void add(std::span<const float> ref, std::span<const float> test);
  std::optional<double> value() const;

 private:
  void compare();
  std::span<const double> powers(std::span<const float> frame);

  std::size_t length_;
  std::vector<double> window_;
  double floor_ = 0.0;
  PowerSpectrum spectrum_;
  std::vector<float> ref_, test_;  // of the frame that is being filled
  std::vector<double> windowed_, ref_db_;
  double sum_ = 0.0;
  std::uint64_t frames_ = 0;
};

}  // namespace quel::tools
