#include "tools/eval_spectral.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "support/signals.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using Signal = std::vector<float>;

Signal floats(const std::vector<std::int16_t>& pcm) {
  return {pcm.begin(), pcm.end()};
}

Signal times(Signal x, float factor) {
  for (float& v : x) v *= factor;
  return x;
}

Signal sum(Signal x, const Signal& y) {
  for (std::size_t n = 0; n < x.size(); ++n) x[n] += y[n];
  return x;
}

TEST(LogSpectralDistortion, EqualSignalsHaveNone) {
  for (const int rate : {8000, 16000, 11025}) {
    const Signal x = floats(test::loud_speech(rate, 1, rate));
    EXPECT_EQ(log_spectral_distortion(x, x, rate), 0.0) << rate;
  }
}

TEST(LogSpectralDistortion, AGainIsItsDecibels) {
  // Loud white noise: no bin of any frame comes near the floor of 16-bit rounding, 60 dB below.
  const Signal x = test::noise(16000, 2, 3000.0);
  EXPECT_NEAR(*log_spectral_distortion(x, times(x, 0.5f), 8000), 20.0 * std::log10(2.0), 1e-6);
  EXPECT_NEAR(*log_spectral_distortion(x, times(x, 2.0f), 8000), 20.0 * std::log10(2.0), 1e-6);
}

TEST(LogSpectralDistortion, PhaseDoesNotCount) {
  const Signal x = floats(test::loud_speech(8000, 3));
  EXPECT_EQ(log_spectral_distortion(x, times(x, -1.0f), 8000), 0.0);
}

TEST(LogSpectralDistortion, GrowsWithTheNoise) {
  const Signal x = floats(test::loud_speech(16000, 4));
  const Signal noise = test::noise(16000, 5, 1.0);
  double last = 0.0;
  for (const float level : {1.0f, 10.0f, 100.0f, 1000.0f}) {
    const double distortion = *log_spectral_distortion(x, sum(x, times(noise, level)), 8000);
    EXPECT_GT(distortion, last) << level;
    last = distortion;
  }
}

TEST(LogSpectralDistortion, OnlyActiveFramesCount) {
  const float below = 103.0f, above = 104.0f;  // -50 dBov is 103.6
  const Signal quiet(1600, below), loud(1600, above);
  EXPECT_FALSE(log_spectral_distortion(quiet, times(quiet, 9.0f), 8000));
  EXPECT_TRUE(log_spectral_distortion(loud, times(loud, 9.0f), 8000));
  // What happens in silence changes nothing.
  Signal x = floats(test::loud_speech(8000, 6));
  const double expected = *log_spectral_distortion(x, times(x, 0.5f), 8000);
  Signal y = times(x, 0.5f);
  x.insert(x.begin(), 1600, 0.0f);
  y.insert(y.begin(), 1600, 90.0f);
  // The frame across the border counts too, so that the two means differ by a frame.
  EXPECT_NEAR(*log_spectral_distortion(x, y, 8000), expected, 0.5);
}

TEST(LogSpectralDistortion, NothingBelowRoundingNoiseCounts) {
  // A tone fills few bins; in the others both signals lie below the floor, whatever they hold.
  Signal x;
  for (int n = 0; n < 1600; ++n) {
    x.push_back(8000.0f * static_cast<float>(std::cos(std::numbers::pi * n / 4.0)));
  }
  const Signal noise = test::noise(1600, 7, 0.02);
  EXPECT_LT(*log_spectral_distortion(x, sum(x, noise), 8000), 0.3);
}

/// The definition, written out again for one rate: 8 kHz, 160 samples, 256 points.
double plain_distortion(const Signal& ref, const Signal& test) {
  const double pi = std::numbers::pi;
  double floor = 0.0, total = 0.0;
  int frames = 0;
  for (int n = 0; n < 160; ++n) floor += std::pow(std::sin(pi * n / 160.0), 4.0) / 12.0;
  const auto level = [&](const Signal& x, int start, int k) {
    std::complex<double> sum = 0.0;
    for (int n = 0; n < 160; ++n) {
      const double w = std::pow(std::sin(pi * n / 160.0), 2.0);
      sum +=
          w * x[static_cast<std::size_t>(start + n)] * std::polar(1.0, -2.0 * pi * k * n / 256.0);
    }
    return 10.0 * std::log10(std::max(std::norm(sum), floor));
  };
  for (int start = 0; start + 160 <= static_cast<int>(ref.size()); start += 80) {
    double energy = 0.0;
    for (int n = 0; n < 160; ++n) energy += std::pow(ref[static_cast<std::size_t>(start + n)], 2.0);
    if (10.0 * std::log10(energy / 160.0 / std::pow(2.0, 30.0)) <= -50.0) continue;
    double squares = 0.0;
    for (int k = 0; k <= 128; ++k) {
      squares += std::pow(level(ref, start, k) - level(test, start, k), 2.0);
    }
    total += std::sqrt(squares / 129.0);
    ++frames;
  }
  return total / frames;
}

TEST(LogSpectralDistortion, IsWhatTheDefinitionSays) {
  const Signal x = floats(test::loud_speech(2000, 8));
  const Signal y = sum(times(x, 0.7f), test::noise(2000, 9, 300.0));
  EXPECT_NEAR(*log_spectral_distortion(x, y, 8000), plain_distortion(x, y), 1e-9);  // rounding
}

TEST(LogSpectralDistortion, TooShortHasNone) {
  EXPECT_FALSE(log_spectral_distortion({}, {}, 8000));
  const Signal x(160, 5000.0f), short_x(159, 5000.0f);
  EXPECT_FALSE(log_spectral_distortion(short_x, short_x, 8000));
  EXPECT_TRUE(log_spectral_distortion(x, x, 8000));
}

}  // namespace
}  // namespace quel::tools
