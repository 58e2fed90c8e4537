#include "tools/eval_spectral.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace quel::tools {
namespace {

constexpr double activity = 32768.0 * 32768.0 * 1e-5;  // -50 dBov
constexpr double rounding_noise = 1.0 / 12.0;

double mean_square(std::span<const float> x) {
  double sum = 0.0;
  for (const float v : x) sum += static_cast<double>(v) * v;
  return sum / static_cast<double>(x.size());
}

}  // namespace

SpectralMeter::SpectralMeter(int rate)
    : length_(static_cast<std::size_t>(rate / 50)),
      window_(hann_window(length_)),
      spectrum_(power_of_two(length_)),
      windowed_(length_),
      ref_db_(spectrum_.bins()) {
  for (const double w : window_) floor_ += rounding_noise * w * w;
}

void SpectralMeter::add(std::span<const float> ref, std::span<const float> test) {
  while (!ref.empty()) {
    const std::size_t count = std::min(ref.size(), length_ - ref_.size());
    const auto to = static_cast<std::ptrdiff_t>(count);
    ref_.insert(ref_.end(), ref.begin(), ref.begin() + to);
    test_.insert(test_.end(), test.begin(), test.begin() + to);
    ref = ref.subspan(count);
    test = test.subspan(count);
    if (ref_.size() < length_) return;
    compare();
    const auto hop = static_cast<std::ptrdiff_t>(length_ / 2);
    ref_.erase(ref_.begin(), ref_.begin() + hop);
    test_.erase(test_.begin(), test_.begin() + hop);
  }
}

std::optional<double> SpectralMeter::value() const {
  if (frames_ == 0) return std::nullopt;
  return sum_ / static_cast<double>(frames_);
}

std::span<const double> SpectralMeter::powers(std::span<const float> frame) {
  for (std::size_t n = 0; n < length_; ++n) windowed_[n] = window_[n] * frame[n];
  return spectrum_.of(windowed_);
}

void SpectralMeter::compare() {
  if (!(mean_square(ref_) > activity)) return;
  const auto decibels = [this](double power) { return 10.0 * std::log10(std::max(power, floor_)); };
  std::ranges::transform(powers(ref_), ref_db_.begin(), decibels);
  double squares = 0.0;
  const std::span<const double> test = powers(test_);
  for (std::size_t k = 0; k < test.size(); ++k) {
    const double difference = ref_db_[k] - decibels(test[k]);
    squares += difference * difference;
  }
  sum_ += std::sqrt(squares / static_cast<double>(test.size()));
  ++frames_;
}

std::optional<double> log_spectral_distortion(std::span<const float> ref,
                                              std::span<const float> test, int rate) {
  SpectralMeter meter(rate);
  meter.add(ref, test);
  return meter.value();
}

}  // namespace quel::tools
