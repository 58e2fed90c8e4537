#include "dsp/lag_wind.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

#include "dsp/autocorr.h"
#include "dsp/lev_dur.h"
#include "support/signals.h"

namespace quel {
namespace {

using Floats = std::vector<float>;

TEST(LagWindow, IsAGaussianWithAWhiteNoiseFloor) {
  EXPECT_EQ(lag_window[0], 1.0001f);
  for (int i = 1; i <= 10; ++i) {
    const double x = 2.0 * std::numbers::pi * 60.0 * i / 8000.0;
    // The stored decimals are single-precision values, good to a unit of the last place.
    EXPECT_NEAR(lag_window[i], std::exp(-0.5 * x * x), 0x1p-24) << i;
  }
}

TEST(LagWind, MultipliesEachLag) {
  const auto before = test::noise(11, 1);
  Floats r = before;
  lag_wind(r.data(), 10);
  for (std::size_t i = 0; i < 11; ++i) EXPECT_EQ(r[i], before[i] * lag_window[i]) << i;
}

TEST(LagWind, StopsAtTheOrder) {
  Floats r(11, 1.0f);
  lag_wind(r.data(), 4);
  EXPECT_EQ(r[4], lag_window[4]);
  for (std::size_t i = 5; i < 11; ++i) EXPECT_EQ(r[i], 1.0f);
}

TEST(LagWind, EnergyGrowsByExactlyTheNoiseFloor) {
  for (const float energy : {1.0f, 3.7e8f, 123456.0f}) {
    Floats r(11);
    r[0] = energy;
    lag_wind(r.data(), 10);
    EXPECT_EQ(r[0], energy * 1.0001f);
  }
}

TEST(LagWind, SilenceEndsInTheFlatFilter) {
  const Floats silence(240);
  Floats r(11), a(11);
  autocorr(silence.data(), r.data(), 10, 240, window.data());
  lag_wind(r.data(), 10);
  Floats expected(11);
  expected[0] = 1.0001f;
  EXPECT_EQ(r, expected);
  EXPECT_EQ(lev_dur(a.data(), r.data(), 10), 1.0001f);
  expected[0] = 1.0f;
  EXPECT_EQ(a, expected);
}

}  // namespace
}  // namespace quel
