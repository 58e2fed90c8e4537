#include "tools/eval_spectral.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "tools/eval_fft.h"

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

std::optional<double> log_spectral_distortion(std::span<const float> ref,
                                              std::span<const float> test, int rate) {
  const auto length = static_cast<std::size_t>(rate / 50);
  const std::vector<double> window = hann_window(length);
  double floor = 0.0;
  for (const double w : window) floor += rounding_noise * w * w;
  PowerSpectrum spectrum(power_of_two(length));
  std::vector<double> windowed(length), ref_db(spectrum.bins());
  const auto levels = [&](std::span<const float> frame) {
    for (std::size_t n = 0; n < length; ++n) windowed[n] = window[n] * frame[n];
    return spectrum.of(windowed);
  };
  const auto decibels = [&](double power) { return 10.0 * std::log10(std::max(power, floor)); };

  double sum = 0.0;
  int frames = 0;
  for (std::size_t start = 0; start + length <= ref.size(); start += length / 2) {
    const auto frame = ref.subspan(start, length);
    if (!(mean_square(frame) > activity)) continue;
    std::ranges::transform(levels(frame), ref_db.begin(), decibels);
    double squares = 0.0;
    const std::span<const double> powers = levels(test.subspan(start, length));
    for (std::size_t k = 0; k < powers.size(); ++k) {
      const double difference = ref_db[k] - decibels(powers[k]);
      squares += difference * difference;
    }
    sum += std::sqrt(squares / static_cast<double>(powers.size()));
    ++frames;
  }
  if (frames == 0) return std::nullopt;
  return sum / frames;
}

}  // namespace quel::tools
