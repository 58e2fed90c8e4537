#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace quel::bench {

/// 1 + a[1]/z + ... + a[order]/z^order; samples before a signal's start are zeros.
class Predictor {
 public:
  static constexpr std::size_t most = 16;

  /// r  [0..order] correlations, r[0] > 0
  Predictor(const std::vector<double>& r, std::size_t order);

  /// The same with a[i] * gamma^i.
  Predictor bent(double gamma) const;
  /// Of x at sample n.
  double residual(const std::vector<double>& x, std::size_t n) const;
  /// What 1/A(z) gives at sample n for the input `in`, y being what it gave before.
  double synthesis(const std::vector<double>& y, std::size_t n, double in) const;

 private:
  double past(const std::vector<double>& x, std::size_t n) const;
  std::array<double, most + 1> a_{1.0};
  std::size_t order_;
};

/// Short-time predictors of a signal, one every 10 ms: of order 16 above 8 kHz, else 10, from a
/// Hamming window of 30 ms round the 10 ms.
///
/// tilt  the signal goes through 1 - tilt/z first
class Predictors {
 public:
  Predictors(const std::vector<double>& x, int rate, double tilt);
  const Predictor& at(std::size_t frame) const { return all_[frame]; }

 private:
  std::vector<Predictor> all_;
};

/// Segmental signal-to-noise ratio as it is heard: both the reference and the error go through
/// W(z) = B(z/0.95) / B(z/0.4), with B(z) the predictor of the reference after 1 - 0.9/z. Otherwise
/// as `snr_figures` has it: 20 ms, active above -50 dBov, -10 to 35 dB each.
///
/// ref, test  of one length, in units of 16-bit PCM
///
/// Not a number where no segment is active.
double weighted_segmental_snr(const std::vector<double>& ref, const std::vector<double>& test,
                              int rate);

}  // namespace quel::bench
