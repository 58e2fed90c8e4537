#include "prediction.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace quel::bench {

Predictor::Predictor(const std::vector<double>& r, std::size_t order) : order_(order) {
  double error = r[0];
  for (std::size_t i = 1; i <= order; ++i) {
    double sum = 0.0;
    for (std::size_t j = 0; j < i; ++j) sum += a_[j] * r[i - j];
    const auto last = a_;
    for (std::size_t j = 1; j <= i; ++j) a_[j] = last[j] - sum / error * last[i - j];
    error -= sum * sum / error;
  }
}

Predictor Predictor::bent(double gamma) const {
  Predictor out = *this;
  for (std::size_t i = 1; i <= order_; ++i) out.a_[i] *= std::pow(gamma, static_cast<double>(i));
  return out;
}

double Predictor::past(const std::vector<double>& x, std::size_t n) const {
  double sum = 0.0;
  for (std::size_t i = 1; i <= std::min(order_, n); ++i) sum += a_[i] * x[n - i];
  return sum;
}

double Predictor::residual(const std::vector<double>& x, std::size_t n) const {
  return x[n] + past(x, n);
}

double Predictor::synthesis(const std::vector<double>& y, std::size_t n, double in) const {
  return in - past(y, n);
}

Predictors::Predictors(const std::vector<double>& x, int rate, double tilt) {
  const auto frame = static_cast<std::ptrdiff_t>(rate / 100);
  const std::size_t order = rate > 8000 ? 16 : 10;
  const auto length = static_cast<std::ptrdiff_t>(x.size());
  const auto sample = [&](std::ptrdiff_t n) {
    return n < 0 || n >= length ? 0.0 : x[static_cast<std::size_t>(n)];
  };
  std::vector<double> y(static_cast<std::size_t>(3 * frame)), r(order + 1);
  for (std::ptrdiff_t from = 0; from < length; from += frame) {
    for (std::ptrdiff_t n = 0; n < 3 * frame; ++n) {
      const double angle =
          2.0 * std::numbers::pi * (static_cast<double>(n) + 0.5) / static_cast<double>(3 * frame);
      const std::ptrdiff_t at = from - frame + n;
      y[static_cast<std::size_t>(n)] =
          (0.54 - 0.46 * std::cos(angle)) * (sample(at) - tilt * sample(at - 1));
    }
    for (std::size_t k = 0; k <= order; ++k) {
      r[k] = 0.0;
      for (std::size_t n = k; n < y.size(); ++n) r[k] += y[n] * y[n - k];
      const double width = 2.0 * std::numbers::pi * 60.0 * static_cast<double>(k) / rate;
      r[k] *= std::exp(-0.5 * width * width);
    }
    r[0] = 1.00003 * std::max(r[0], 1.0);
    all_.emplace_back(r, order);
  }
}

double weighted_segmental_snr(const std::vector<double>& ref, const std::vector<double>& test,
                              int rate) {
  const auto frame = static_cast<std::size_t>(rate / 100);
  const Predictors predictors(ref, rate, 0.9);
  std::vector<double> error(ref.size()), heard(ref.size()), wrong(ref.size());
  for (std::size_t n = 0; n < ref.size(); ++n) error[n] = ref[n] - test[n];
  const double activity = 32768.0 * 32768.0 * 1e-5;
  double mean = 0.0, plain = 0.0, signal = 0.0, noise = 0.0;
  int segments = 0;
  for (std::size_t n = 0; n + frame <= ref.size(); n += frame) {
    const Predictor zeros = predictors.at(n / frame).bent(0.95);
    const Predictor poles = predictors.at(n / frame).bent(0.4);
    for (std::size_t i = n; i < n + frame; ++i) {
      heard[i] = poles.synthesis(heard, i, zeros.residual(ref, i));
      wrong[i] = poles.synthesis(wrong, i, zeros.residual(error, i));
      plain += ref[i] * ref[i];
      signal += heard[i] * heard[i];
      noise += wrong[i] * wrong[i];
    }
    if (n / frame % 2 == 0) continue;
    if (plain / static_cast<double>(2 * frame) > activity) {
      mean += std::clamp(10.0 * std::log10(signal / noise), -10.0, 35.0);
      ++segments;
    }
    plain = signal = noise = 0.0;
  }
  return segments == 0 ? std::numeric_limits<double>::quiet_NaN() : mean / segments;
}

}  // namespace quel::bench
