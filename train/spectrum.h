#pragma once

namespace quel::train {

/// Spectral distortion of two LP filters: rms over frequency, from 0 to half the sampling rate, of
/// the difference of 1/A in dB.
///
/// a, b  [0..m] LP filters
/// m     order, <= 16
double spectral_distortion(const float* a, const float* b, int m);

/// Distortions of many frames.
struct DistortionCount {
  long frames = 0;
  double sum = 0.0;  ///< dB
  long above2 = 0;   ///< of them from 2 dB to 4 dB
  long above4 = 0;   ///< more than 4 dB

  void add(double dB);
  void add(const DistortionCount& other);
  double mean() const { return frames > 0 ? sum / static_cast<double>(frames) : 0.0; }
  double percent2() const { return percent(above2); }
  double percent4() const { return percent(above4); }

 private:
  double percent(long n) const {
    return frames > 0 ? 100.0 * static_cast<double>(n) / static_cast<double>(frames) : 0.0;
  }
};

}  // namespace quel::train
