#include "tools/eval_fft.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace quel::tools {

std::vector<double> hann_window(std::size_t n) {
  std::vector<double> window(n);
  const double step = 2.0 * std::numbers::pi / static_cast<double>(n);
  for (std::size_t i = 0; i < n; ++i) {
    window[i] = 0.5 - 0.5 * std::cos(step * static_cast<double>(i));
  }
  return window;
}

std::size_t power_of_two(std::size_t n) {
  std::size_t size = 2;
  while (size < n) size *= 2;
  return size;
}

PowerSpectrum::PowerSpectrum(std::size_t size)
    : cos_(size / 2), sin_(size / 2), order_(size), re_(size), im_(size), power_(size / 2 + 1) {
  const double step = 2.0 * std::numbers::pi / static_cast<double>(size);
  for (std::size_t i = 0; i < size / 2; ++i) {
    cos_[i] = std::cos(step * static_cast<double>(i));
    sin_[i] = std::sin(step * static_cast<double>(i));
  }
  for (std::size_t i = 1; i < size; ++i) {
    order_[i] = order_[i / 2] / 2 + (i % 2 == 1 ? size / 2 : 0);
  }
}

std::span<const double> PowerSpectrum::of(std::span<const double> frame) {
  for (std::size_t i = 0; i < order_.size(); ++i) {
    re_[order_[i]] = i < frame.size() ? frame[i] : 0.0;
  }
  std::fill(im_.begin(), im_.end(), 0.0);
  transform();
  for (std::size_t k = 0; k < power_.size(); ++k) power_[k] = re_[k] * re_[k] + im_[k] * im_[k];
  return power_;
}

// Decimation in time; the input stands in bit-reversed order.
void PowerSpectrum::transform() {
  const std::size_t size = re_.size();
  for (std::size_t half = 1; half < size; half *= 2) {
    const std::size_t stride = size / (2 * half);
    for (std::size_t start = 0; start < size; start += 2 * half) {
      for (std::size_t i = 0; i < half; ++i) {
        const double c = cos_[i * stride], s = sin_[i * stride];
        const std::size_t a = start + i, b = a + half;
        const double re = re_[b] * c + im_[b] * s;
        const double im = im_[b] * c - re_[b] * s;
        re_[b] = re_[a] - re;
        im_[b] = im_[a] - im;
        re_[a] += re;
        im_[a] += im;
      }
    }
  }
}

}  // namespace quel::tools
