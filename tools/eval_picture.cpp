#include "tools/eval_picture.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "tools/eval_fft.h"
#include "tools/eval_text.h"

namespace quel::tools {
namespace {

constexpr float range_db = 70.0f;
constexpr double least_power = 1e-15;  // keeps the logarithm finite
constexpr std::size_t colours = 256;

/// Column c of `columns` over n samples begins at sample n * c / columns.
std::size_t column_start(std::size_t n, std::size_t c, std::size_t columns) {
  return static_cast<std::size_t>(static_cast<std::uint64_t>(n) * c / columns);
}

std::vector<std::array<std::uint8_t, 3>> light_to_dark() {
  constexpr std::array<std::array<double, 3>, 5> stops = {
      {{250, 251, 253}, {176, 210, 236}, {64, 130, 196}, {34, 56, 130}, {18, 10, 48}}};
  std::vector<std::array<std::uint8_t, 3>> palette(colours);
  for (std::size_t i = 0; i < colours; ++i) {
    const double at = static_cast<double>(i * (stops.size() - 1)) / (colours - 1);
    const std::size_t from = std::min(static_cast<std::size_t>(at), stops.size() - 2);
    const double part = at - static_cast<double>(from);
    for (std::size_t c = 0; c < 3; ++c) {
      palette[i][c] = static_cast<std::uint8_t>(
          std::lround((1.0 - part) * stops[from][c] + part * stops[from + 1][c]));
    }
  }
  return palette;
}

}  // namespace

Spectrogram spectrogram(std::span<const std::int16_t> pcm, int rate, std::size_t columns) {
  const std::size_t size = power_of_two(static_cast<std::size_t>(rate / 40));
  const std::vector<double> window = hann_window(size);
  double sum = 0.0;
  for (const double w : window) sum += w;
  const double full_scale = 0.25 * sum * sum * 32768.0 * 32768.0;

  PowerSpectrum spectrum(size);
  Spectrogram out;
  // Narrower columns than an eighth of a frame would show nothing new.
  out.columns = std::min(columns, (pcm.size() + size / 8 - 1) / (size / 8));
  out.bins = spectrum.bins();
  std::vector<double> frame(size), mean(out.bins);
  for (std::size_t c = 0; c < out.columns; ++c) {
    const std::size_t first = column_start(pcm.size(), c, out.columns);
    const std::size_t next = column_start(pcm.size(), c + 1, out.columns);
    std::fill(mean.begin(), mean.end(), 0.0);
    int frames = 0;
    for (std::size_t at = first; at < next; at += size / 2, ++frames) {
      // The frame's centre lies at `at`; past both ends there is silence.
      for (std::size_t n = 0; n < size; ++n) {
        const bool inside = at + n >= size / 2 && at + n - size / 2 < pcm.size();
        frame[n] = inside ? window[n] * pcm[at + n - size / 2] : 0.0;
      }
      const std::span<const double> power = spectrum.of(frame);
      for (std::size_t k = 0; k < out.bins; ++k) mean[k] += power[k];
    }
    for (const double power : mean) {
      const double relative = power / (frames * full_scale);
      out.level.push_back(static_cast<float>(10.0 * std::log10(std::max(relative, least_power))));
    }
  }
  return out;
}

float loudest(const Spectrogram& levels) {
  float top = std::numeric_limits<float>::lowest();
  for (const float level : levels.level) top = std::max(top, level);
  return top;
}

IndexedImage picture(const Spectrogram& levels, float top) {
  IndexedImage image;
  image.width = levels.columns;
  image.height = levels.bins;
  image.palette = light_to_dark();
  image.pixels.resize(image.width * image.height);
  for (std::size_t c = 0; c < levels.columns; ++c) {
    for (std::size_t k = 0; k < levels.bins; ++k) {
      const float part = 1.0f + (levels.level[c * levels.bins + k] - top) / range_db;
      image.pixels[(levels.bins - 1 - k) * image.width + c] = static_cast<std::uint8_t>(
          std::lround(std::clamp(part, 0.0f, 1.0f) * static_cast<float>(colours - 1)));
    }
  }
  return image;
}

std::string outline(std::span<const std::int16_t> pcm, std::size_t width, double height) {
  if (pcm.empty()) return {};
  const std::size_t columns = std::min(width, pcm.size());
  const double step = static_cast<double>(width) / static_cast<double>(columns);
  std::string upper, lower;
  const auto point = [&](std::size_t c, int sample) {
    return fixed(step * (static_cast<double>(c) + 0.5), 1) + "," +
           fixed(0.5 * height * (1.0 - sample / 32768.0), 1);
  };
  std::vector<int> lowest;
  for (std::size_t c = 0; c < columns; ++c) {
    const std::size_t first = column_start(pcm.size(), c, columns);
    const auto part = pcm.subspan(first, column_start(pcm.size(), c + 1, columns) - first);
    const auto [low, high] = std::minmax_element(part.begin(), part.end());
    upper += c == 0 ? 'M' : 'L';
    upper += point(c, *high);
    lowest.push_back(*low);
  }
  for (std::size_t c = columns; c-- > 0;) {
    lower += 'L';
    lower += point(c, lowest[c]);
  }
  return upper + lower + "Z";
}

}  // namespace quel::tools
