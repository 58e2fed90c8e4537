#include "tools/eval_fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

#include "support/signals.h"

namespace quel::tools {
namespace {

/// |sum of x[n] exp(-2 pi i k n / size)|^2, as the definition says.
double plain_power(const std::vector<double>& x, std::size_t k, std::size_t size) {
  std::complex<double> sum = 0.0;
  for (std::size_t n = 0; n < x.size(); ++n) {
    sum += x[n] * std::polar(1.0, -2.0 * std::numbers::pi * static_cast<double>(k * n % size) /
                                      static_cast<double>(size));
  }
  return std::norm(sum);
}

TEST(PowerSpectrum, IsTheTransform) {
  for (const std::size_t size : {2u, 4u, 16u, 64u, 512u}) {
    test::Random random(size);
    PowerSpectrum spectrum(size);
    // Full frames, short ones (zeros follow) and none; one object serves them all.
    for (const std::size_t length : {size, size / 2 + 1, std::size_t{1}, std::size_t{0}}) {
      SCOPED_TRACE(testing::Message() << size << " points, " << length << " samples");
      std::vector<double> x(length);
      for (double& v : x) v = random.gauss();
      const auto power = spectrum.of(x);
      ASSERT_EQ(power.size(), size / 2 + 1);
      for (std::size_t k = 0; k < power.size(); ++k) {
        // Rounding: a few bits of a sum of at most 512 numbers of about 1.
        EXPECT_NEAR(power[k], plain_power(x, k, size), 1e-9);
      }
    }
  }
}

TEST(PowerSpectrum, AToneIsOneBin) {
  PowerSpectrum spectrum(64);
  std::vector<double> x(64);
  for (std::size_t n = 0; n < 64; ++n) {
    x[n] = std::cos(2.0 * std::numbers::pi * 5.0 * static_cast<double>(n) / 64.0);
  }
  const auto power = spectrum.of(x);
  for (std::size_t k = 0; k < power.size(); ++k) {
    EXPECT_NEAR(power[k], k == 5 ? 32.0 * 32.0 : 0.0, 1e-9) << k;
  }
}

TEST(HannWindow, HalfOverlappedCopiesAddUpToOne) {
  const auto window = hann_window(256);
  EXPECT_EQ(window[0], 0.0);
  EXPECT_DOUBLE_EQ(window[128], 1.0);
  for (std::size_t n = 0; n < 128; ++n) EXPECT_DOUBLE_EQ(window[n] + window[n + 128], 1.0);
}

TEST(PowerOfTwo, IsTheNextOne) {
  EXPECT_EQ(power_of_two(0), 2u);
  EXPECT_EQ(power_of_two(2), 2u);
  EXPECT_EQ(power_of_two(3), 4u);
  EXPECT_EQ(power_of_two(160), 256u);
  EXPECT_EQ(power_of_two(256), 256u);
  EXPECT_EQ(power_of_two(257), 512u);
}

}  // namespace
}  // namespace quel::tools
