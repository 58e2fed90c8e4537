#include "train/spectrum.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "support/signals.h"

namespace quel::train {
namespace {

// rms over a fine grid of the difference of 20 log10 |A|, straight from the polynomial.
double plain_distortion(const std::vector<float>& a, const std::vector<float>& b) {
  constexpr int points = 4000;
  double sum = 0.0;
  for (int j = 0; j < points; ++j) {
    const auto z = std::polar(1.0, -std::numbers::pi * (j + 0.5) / points);
    std::complex<double> u = 0.0, v = 0.0, power = 1.0;
    for (std::size_t k = 0; k < a.size(); ++k, power *= z) {
      u += static_cast<double>(a[k]) * power;
      v += static_cast<double>(b[k]) * power;
    }
    const double dB = 20.0 * std::log10(std::abs(u) / std::abs(v));
    sum += dB * dB;
  }
  return std::sqrt(sum / points);
}

TEST(SpectralDistortion, EqualsTheIntegralOfTheDifference) {
  for (const int m : {10, 16}) {
    for (unsigned seed = 0; seed < 20; ++seed) {
      SCOPED_TRACE(seed);
      // Damped as speech is, so that no peak is narrower than the coarser grid.
      auto a = test::stable_filter(m, seed);
      for (std::size_t k = 1; k < a.size(); ++k) a[k] *= std::pow(0.97f, static_cast<float>(k));
      auto b = a;
      for (std::size_t k = 1; k < b.size(); ++k) b[k] *= std::pow(0.97f, static_cast<float>(k));
      const double plain = plain_distortion(a, b);
      // What the coarser grid leaves.
      EXPECT_NEAR(spectral_distortion(a.data(), b.data(), m), plain, 0.02 * plain);
      EXPECT_EQ(spectral_distortion(a.data(), a.data(), m), 0.0);
    }
  }
}

TEST(DistortionCount, SortsFramesByTheTwoLimits) {
  DistortionCount count;
  for (const double dB : {0.5, 2.0, 2.1, 4.0, 4.1}) count.add(dB);
  EXPECT_EQ(count.frames, 5);
  EXPECT_DOUBLE_EQ(count.mean(), 12.7 / 5);
  EXPECT_DOUBLE_EQ(count.percent2(), 40.0);
  EXPECT_DOUBLE_EQ(count.percent4(), 20.0);
  EXPECT_EQ(DistortionCount{}.mean(), 0.0);
}

}  // namespace
}  // namespace quel::train
