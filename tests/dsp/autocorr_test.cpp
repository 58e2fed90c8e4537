#include "dsp/autocorr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

#include "dsp/lag_wind.h"
#include "dsp/lev_dur.h"
#include "dsp/plain_lpc.h"
#include "dsp/scratch.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::noise;
using test::speech_like;
using Floats = std::vector<float>;

Floats correlated(const Floats& x, int m, const Floats& w) {
  Floats r(static_cast<std::size_t>(m) + 2, 9.0f);
  autocorr(x.data(), r.data(), m, static_cast<int>(x.size()), w.data());
  EXPECT_EQ(r.back(), 9.0f);  // r ends with entry m
  r.pop_back();
  return r;
}

Floats table() {
  return {window.begin(), window.end()};
}

TEST(Window, IsTheHammingFormula) {
  for (int n = 0; n < 240; ++n) {
    const double exact = 0.54 - 0.46 * std::cos(2.0 * std::numbers::pi * n / 239.0);
    // A float below 1 is within 2^-25 = 3e-8 of any number; twice that is asked for.
    EXPECT_NEAR(window[static_cast<std::size_t>(n)], exact, 6e-8) << n;
  }
}

TEST(Window, EndsAndMiddle) {
  EXPECT_FLOAT_EQ(window[0], 0.08f);
  EXPECT_FLOAT_EQ(window[239], 0.08f);
  EXPECT_NEAR(window[119], 0.99996, 5e-6);  // five decimals
  EXPECT_NEAR(window[120], 0.99996, 5e-6);
  for (std::size_t n = 0; n < 120; ++n) {
    // Either half rounds its cosines on its own.
    EXPECT_NEAR(window[n], window[239 - n], 6e-8) << n;
    if (n > 0) {
      EXPECT_GT(window[n], window[n - 1]);
    }
  }
}

// Summed from the far end; windowed samples are rounded to float, as they are stored.
TEST(Autocorr, IsTheLaggedProductOfTheWindowedSignal) {
  struct Shape {
    int m, L;
  };
  for (const auto& [m, L] : {Shape{10, 240}, {16, 480}, {0, 5}, {4, 5}}) {
    for (unsigned seed = 0; seed < 20; ++seed) {
      SCOPED_TRACE(testing::Message() << "order " << m << ", seed " << seed);
      const auto x = noise(L, seed), w = noise(L, seed + 100, 0.3);
      const Floats r = correlated(x, m, w);
      for (std::size_t k = 0; k < r.size(); ++k) {
        double sum = 0, size = 0;
        for (std::size_t n = x.size(); n-- > k;) {
          const float y = x[n] * w[n], past = x[n - k] * w[n - k];
          sum += static_cast<double>(y) * past;
          size += std::abs(static_cast<double>(y) * past);
        }
        // One float rounding, and up to 480 double roundings for the other order.
        EXPECT_NEAR(r[k], sum, std::abs(sum) * 0x1p-24 + size * 480 * 0x1p-53) << k;
      }
    }
  }
}

TEST(Autocorr, SilenceGivesUnitEnergyAndNothingElse) {
  Floats expected(11);
  expected[0] = 1.0f;
  EXPECT_EQ(correlated(Floats(240), 10, table()), expected);
}

TEST(Autocorr, EnergyBelowOneIsRaisedAndTheRestIsLeft) {
  const Floats w(4, 1.0f);
  EXPECT_EQ(correlated({0.5f, 0.5f, 0.5f, 0.25f}, 2, w), (Floats{1.0f, 0.625f, 0.375f}));
  const float above = std::nextafter(1.0f, 2.0f);
  EXPECT_EQ(correlated({1.0f, 0.0f, 0.0f, 0.0f}, 1, w), (Floats{1.0f, 0.0f}));
  EXPECT_EQ(correlated({above, 0.0f, 0.0f, 0.0f}, 1, w)[0], above * above);
  EXPECT_GT(above * above, 1.0f);
}

TEST(Autocorr, NoLagExceedsTheEnergy) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    const Floats r = correlated(speech_like(240, seed), 10, table());
    for (std::size_t k = 1; k < r.size(); ++k) EXPECT_LE(std::abs(r[k]), r[0]);
  }
}

TEST(Autocorr, AnalysisOfSpeechGivesAStableFilter) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    Floats r = correlated(speech_like(240, seed), 10, table());
    Floats a(11);
    lag_wind(r.data(), 10);
    EXPECT_GT(lev_dur(a.data(), r.data(), 10), 0.0f);
    EXPECT_TRUE(test::minimum_phase(a.data(), 10)) << seed;
  }
}

TEST(Autocorr, ScratchIsGivenBack) {
  const std::byte* const top = i_heap;
  correlated(noise(240, 1), 10, table());
  EXPECT_EQ(i_heap, top);
}

}  // namespace
}  // namespace quel
