#pragma once

namespace quel::train {

/// Spectral distortion of two LP filters: rms over frequency, from 0 to half the sampling rate, of
/// the difference of 1/A in dB.
///
/// a, b  [0..m] LP filters
/// m     order, <= 16
double spectral_distortion(const float* a, const float* b, int m);

/// How the spectrum answers to its parameters: the symmetric matrix G with
/// distortion^2 = e' G e, dB^2, for a small change e of the parameters.
///
/// a   [0..m] LP filter
/// da  [0..n*(m+1)-1] its derivatives by the n parameters, one block of m+1 each
/// m   order, <= 16
/// g   [0..n*n-1] output
void spectral_sensitivity(const float* a, const double* da, int m, int n, double* g);

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
