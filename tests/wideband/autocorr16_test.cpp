#include "wideband/autocorr16.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

#include "dsp/lev_dur.h"
#include "dsp/scratch.h"
#include "support/signals.h"
#include "wideband/a2lsf.h"
#include "wideband/window16.h"

namespace quel {
namespace {

using std::numbers::pi;
using ::testing::Each;

TEST(Autocorr16, SilenceGivesTheFlatFilterAndTheNeutralLines) {
  const std::vector<float> x(480, 0.0f);
  std::vector<float> r(17, 7.0f), a(17), lsp(16);
  autocorr16(x.data(), r.data(), 16, 480, window16.data());
  lag_wind16(lag_window16.data(), r.data(), 16);
  EXPECT_EQ(r[0], 1.00003f);
  EXPECT_THAT(std::vector<float>(r.begin() + 1, r.end()), Each(0.0f));
  lev_dur(a.data(), r.data(), 16);
  EXPECT_EQ(a[0], 1.0f);
  EXPECT_THAT(std::vector<float>(a.begin() + 1, a.end()), Each(0.0f));
  const std::vector<float> unused(16, 7.0f);
  a2lsf(a.data(), lsp.data(), unused.data(), 16);
  for (int i = 0; i < 16; ++i) {
    // Interpolation over a sixteenth of a grid interval, 0.002: the chord of a cosine of 8.5
    // periods is off by at most 0.002^2 / 8 * |f''/f'|, and |f''/f'| stays below 20 here.
    EXPECT_NEAR(lsp[static_cast<std::size_t>(i)], std::cos((i + 1) * pi / 17), 1e-5);
  }
}

TEST(Autocorr16, EqualsThePlainSums) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    const auto x = test::speech_like(480, seed, 16000.0);
    std::vector<float> r(17);
    autocorr16(x.data(), r.data(), 16, 480, window16.data());
    double energy = 0;
    std::vector<double> y(480);
    for (std::size_t i = 0; i < 480; ++i) {
      y[i] = static_cast<double>(x[i]) * window16[i];
      energy += y[i] * y[i];
    }
    for (std::size_t k = 0; k <= 16; ++k) {
      double sum = 0;
      for (std::size_t i = k; i < 480; ++i) sum += y[i] * y[i - k];
      if (k == 0) sum = std::max(sum, 1.0);
      // Each windowed sample and the result are rounded to float once.
      EXPECT_NEAR(r[k], sum, 2e-7 * std::max(energy, 1.0));
    }
  }
}

TEST(Autocorr16, FloorsTheEnergyAtOneAndLeavesTheRest) {
  const std::vector<float> w(3, 1.0f);
  std::vector<float> r(2);
  const std::vector<float> faint = {0.5f, 0.5f, 0.5f};
  autocorr16(faint.data(), r.data(), 1, 3, w.data());
  EXPECT_EQ(r, (std::vector<float>{1.0f, 0.5f}));
  const std::vector<float> one = {1.0f, 0.0f, 0.0f};
  autocorr16(one.data(), r.data(), 1, 3, w.data());
  EXPECT_EQ(r, (std::vector<float>{1.0f, 0.0f}));
  const std::vector<float> above = {1.0f, 0.125f, 0.0f};
  autocorr16(above.data(), r.data(), 1, 3, w.data());
  EXPECT_EQ(r, (std::vector<float>{1.015625f, 0.125f}));
}

TEST(Autocorr16, NanStaysForTheCallerToSee) {
  std::vector<float> x(480, 1.0f), r(17);
  x[100] = std::numeric_limits<float>::quiet_NaN();
  autocorr16(x.data(), r.data(), 16, 480, window16.data());
  EXPECT_TRUE(std::isnan(r[0]));
}

TEST(Autocorr16, GivesItsScratchBack) {
  ScratchArea area;
  const ScratchSwitch on(area);
  std::vector<float> x(480, 1.0f), r(17);
  autocorr16(x.data(), r.data(), 16, 480, window16.data());
  EXPECT_EQ(i_heap, area.top());
}

TEST(LagWindow16, IsAGaussianOfSixtyHertzWithTheNoiseFloor) {
  EXPECT_EQ(lag_window16[0], 1.00003f);
  for (int i = 1; i <= 16; ++i) {
    const double angle = 2 * pi * 60 * i / 16000;
    const double expected = std::exp(-0.5 * angle * angle);
    EXPECT_NEAR(lag_window16[static_cast<std::size_t>(i)], expected, 6e-8) << i;  // one rounding
  }
}

TEST(LagWindow16, KeepsItsBits) {
  std::vector<std::uint8_t> bytes;
  for (const float w : lag_window16) {
    for (int shift = 0; shift < 32; shift += 8) {
      bytes.push_back(static_cast<std::uint8_t>(std::bit_cast<std::uint32_t>(w) >> shift));
    }
  }
  EXPECT_EQ(test::digest(bytes.data(), bytes.size()), 9496951008175446582u);
}

TEST(LagWindow16, ComesFromItsRoutine) {
  std::vector<float> w(18, -7.0f);
  init_lag_wind(w.data(), 60.0f, 16000.0f, 1.00003f, 16);
  EXPECT_TRUE(std::equal(lag_window16.begin(), lag_window16.end(), w.begin()));
  EXPECT_EQ(w[17], -7.0f);
  init_lag_wind(w.data(), 120.0f, 8000.0f, 2.0f, 1);
  EXPECT_EQ(w[0], 2.0f);
  EXPECT_NEAR(w[1], std::exp(-0.5 * std::pow(2 * pi * 120 / 8000, 2)), 6e-8);
  EXPECT_EQ(w[2], lag_window16[2]);
}

TEST(LagWind16, ScalesEveryEntryTheFirstIncluded) {
  auto r = test::noise(18, 3);
  const auto before = r;
  lag_wind16(lag_window16.data(), r.data(), 16);
  for (std::size_t i = 0; i <= 16; ++i) EXPECT_EQ(r[i], before[i] * lag_window16[i]);
  EXPECT_EQ(r[17], before[17]);
}

}  // namespace
}  // namespace quel
