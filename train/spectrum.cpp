#include "train/spectrum.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace quel::train {
namespace {

constexpr int max_order = 16;
constexpr std::size_t distortion_points = 160;

// Fourier kernel on frequencies at the middles of equal bands from 0 to half the sampling rate.
struct Grid {
  std::array<std::array<double, distortion_points>, max_order + 1> c{};
  std::array<std::array<double, distortion_points>, max_order + 1> s{};

  Grid() {
    for (std::size_t k = 0; k < c.size(); ++k) {
      for (std::size_t j = 0; j < distortion_points; ++j) {
        const double angle = std::numbers::pi * (static_cast<double>(j) + 0.5) / distortion_points *
                             static_cast<double>(k);
        c[k][j] = std::cos(angle);
        s[k][j] = std::sin(angle);
      }
    }
  }

  void transform(const float* a, int m, double* re, double* im) const {
    for (int k = 0; k <= m; ++k) {
      const double* ck = c[static_cast<std::size_t>(k)].data();
      const double* sk = s[static_cast<std::size_t>(k)].data();
      const double ak = a[k];
      for (std::size_t j = 0; j < distortion_points; ++j) {
        re[j] += ak * ck[j];
        im[j] += ak * sk[j];
      }
    }
  }
};

using Points = std::array<double, distortion_points>;

Points power(const float* a, int m) {
  static const Grid grid;
  Points re{};
  Points im{};
  grid.transform(a, m, re.data(), im.data());
  for (std::size_t j = 0; j < re.size(); ++j) re[j] = re[j] * re[j] + im[j] * im[j] + 1e-12;
  return re;
}

}  // namespace

double spectral_distortion(const float* a, const float* b, int m) {
  const Points x = power(a, m);
  const Points y = power(b, m);
  double sum = 0.0;
  for (std::size_t j = 0; j < x.size(); ++j) {
    const double dB = 10.0 * std::log10(x[j] / y[j]);
    sum += dB * dB;
  }
  return std::sqrt(sum / distortion_points);
}

void DistortionCount::add(double dB) {
  ++frames;
  sum += dB;
  if (dB > 4.0) {
    ++above4;
  } else if (dB > 2.0) {
    ++above2;
  }
}

void DistortionCount::add(const DistortionCount& other) {
  frames += other.frames;
  sum += other.sum;
  above2 += other.above2;
  above4 += other.above4;
}

}  // namespace quel::train
