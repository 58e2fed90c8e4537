#include "tools/eval_stoi.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "tools/eval_fft.h"

namespace quel::tools {
namespace {

constexpr std::size_t hop = stoi_frame / 2;
constexpr std::size_t transform_size = 512;
constexpr double lowest_centre = 150.0;                 // Hz
constexpr double silence = 1e-4;                        // -40 dB of the loudest frame's energy
const double clip = 1.0 + std::pow(10.0, 15.0 / 20.0);  // signal-to-distortion ratio of -15 dB

std::vector<double> resample(std::span<const float> x, int rate) {
  std::vector<double> in(x.begin(), x.end());
  if (rate == stoi_rate || in.empty()) return in;
  const double size = std::ceil(static_cast<double>(in.size()) * stoi_rate / rate);
  std::vector<double> out(static_cast<std::size_t>(size));
  const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
  std::size_t produced = 0;
  const soxr_error_t error =
      soxr_oneshot(rate, stoi_rate, 1, in.data(), in.size(), nullptr, out.data(), out.size(),
                   &produced, &io, &quality, nullptr);
  if (error != nullptr) throw std::runtime_error(std::string("resampling: ") + error);
  out.resize(produced);
  return out;
}

/// Takes the mean off and scales to norm 1; a constant becomes zeros. False for a constant.
bool standardise(std::span<double> x) {
  double mean = 0.0, energy = 0.0;
  for (const double v : x) mean += v;
  mean /= static_cast<double>(x.size());
  for (double& v : x) {
    v -= mean;
    energy += v * v;
  }
  if (!(energy > 0.0)) return false;
  for (double& v : x) v /= std::sqrt(energy);
  return true;
}

double product(std::span<const double> x, std::span<const double> y) {
  double sum = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) sum += x[i] * y[i];
  return sum;
}

/// The mean of what was added.
struct Mean {
  double sum = 0.0;
  std::size_t count = 0;
  void add(double value) {
    sum += value;
    ++count;
  }
  std::optional<double> value() const {
    if (count == 0) return std::nullopt;
    return sum / static_cast<double>(count);
  }
};

using Trace = std::array<double, stoi_segment>;  // one band through a segment

Trace trace(std::span<const BandFrame> frames, std::size_t first, std::size_t band) {
  Trace values;
  for (std::size_t n = 0; n < stoi_segment; ++n) values[n] = frames[first + n][band];
  return values;
}

/// A segment with its bands, then its frames, brought to mean 0 and norm 1, frame by frame.
std::array<BandFrame, stoi_segment> normalised_segment(std::span<const BandFrame> frames,
                                                       std::size_t first) {
  std::array<BandFrame, stoi_segment> segment{};
  for (std::size_t j = 0; j < stoi_bands; ++j) {
    Trace row = trace(frames, first, j);
    standardise(row);
    for (std::size_t n = 0; n < stoi_segment; ++n) segment[n][j] = row[n];
  }
  for (BandFrame& column : segment) standardise(column);
  return segment;
}

}  // namespace

void remove_silence(std::vector<double>& ref, std::vector<double>& test) {
  const std::vector<double> window = hann_window(stoi_frame);
  std::vector<double> energies;
  for (std::size_t start = 0; start + stoi_frame <= ref.size(); start += hop) {
    double energy = 0.0;
    for (std::size_t n = 0; n < stoi_frame; ++n) {
      energy += window[n] * window[n] * ref[start + n] * ref[start + n];
    }
    energies.push_back(energy);
  }
  const double loudest =
      energies.empty() ? 0.0 : *std::max_element(energies.begin(), energies.end());
  const auto active = [&](double energy) { return energy > 0.0 && energy >= silence * loudest; };
  const auto kept =
      static_cast<std::size_t>(std::count_if(energies.begin(), energies.end(), active));
  const std::size_t size = kept == 0 ? 0 : (kept - 1) * hop + stoi_frame;
  std::vector<double> short_ref(size), short_test(size);
  std::size_t to = 0;
  for (std::size_t i = 0; i < energies.size(); ++i) {
    if (!active(energies[i])) continue;
    for (std::size_t n = 0; n < stoi_frame; ++n) {
      short_ref[to + n] += window[n] * ref[i * hop + n];
      short_test[to + n] += window[n] * test[i * hop + n];
    }
    to += hop;
  }
  ref.swap(short_ref);
  test.swap(short_test);
}

std::vector<BandFrame> third_octaves(std::span<const double> signal) {
  // Band j reaches from bin edges[2j] up to, not including, bin edges[2j+1].
  std::array<std::size_t, 2 * stoi_bands> edges{};
  for (std::size_t j = 0; j < stoi_bands; ++j) {
    const double centre = lowest_centre * std::exp2(static_cast<double>(j) / 3.0);
    for (std::size_t side = 0; side < 2; ++side) {
      const double hertz = centre * std::exp2(side == 0 ? -1.0 / 6.0 : 1.0 / 6.0);
      edges[2 * j + side] =
          static_cast<std::size_t>(std::lround(hertz * transform_size / stoi_rate));
    }
  }
  const std::vector<double> window = hann_window(stoi_frame);
  PowerSpectrum spectrum(transform_size);
  std::vector<double> windowed(stoi_frame);
  std::vector<BandFrame> frames;
  for (std::size_t start = 0; start + stoi_frame <= signal.size(); start += hop) {
    for (std::size_t n = 0; n < stoi_frame; ++n) windowed[n] = window[n] * signal[start + n];
    const std::span<const double> power = spectrum.of(windowed);
    BandFrame& bands = frames.emplace_back();
    for (std::size_t j = 0; j < stoi_bands; ++j) {
      double energy = 0.0;
      for (std::size_t k = edges[2 * j]; k < edges[2 * j + 1]; ++k) energy += power[k];
      bands[j] = std::sqrt(energy);
    }
  }
  return frames;
}

std::optional<double> stoi_of_bands(std::span<const BandFrame> ref,
                                    std::span<const BandFrame> test) {
  Mean mean;
  for (std::size_t first = 0; first + stoi_segment <= ref.size(); ++first) {
    for (std::size_t j = 0; j < stoi_bands; ++j) {
      Trace x = trace(ref, first, j), y = trace(test, first, j);
      const double energy = product(y, y);
      const double scale = energy > 0.0 ? std::sqrt(product(x, x) / energy) : 0.0;
      for (std::size_t n = 0; n < stoi_segment; ++n) y[n] = std::min(scale * y[n], clip * x[n]);
      if (!standardise(x)) continue;  // a correlation with a constant is undefined
      standardise(y);
      mean.add(product(x, y));
    }
  }
  return mean.value();
}

std::optional<double> estoi_of_bands(std::span<const BandFrame> ref,
                                     std::span<const BandFrame> test) {
  Mean mean;
  for (std::size_t first = 0; first + stoi_segment <= ref.size(); ++first) {
    const auto x = normalised_segment(ref, first), y = normalised_segment(test, first);
    for (std::size_t n = 0; n < stoi_segment; ++n) {
      if (product(x[n], x[n]) > 0.0) mean.add(product(x[n], y[n]));
    }
  }
  return mean.value();
}

std::optional<Intelligibility> intelligibility(std::span<const float> ref,
                                               std::span<const float> test, int rate) {
  std::vector<double> x = resample(ref, rate), y = resample(test, rate);
  remove_silence(x, y);
  const std::vector<BandFrame> ref_bands = third_octaves(x), test_bands = third_octaves(y);
  const auto stoi = stoi_of_bands(ref_bands, test_bands);
  const auto estoi = estoi_of_bands(ref_bands, test_bands);
  if (!stoi || !estoi) return std::nullopt;
  return Intelligibility{*stoi, *estoi};
}

}  // namespace quel::tools
