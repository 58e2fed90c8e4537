#include "tools/quality.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "conformance/conformance.h"
#include "dsp/hp_2nd.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using Pcm = std::vector<std::int16_t>;

/// n samples +-amplitude, mean square amplitude^2.
std::vector<float> square(int n, float amplitude) {
  std::vector<float> x;
  for (int i = 0; i < n; ++i) x.push_back((i / 4) % 2 == 0 ? amplitude : -amplitude);
  return x;
}

/// x with `error` added to every sample.
Pcm off_by(const std::vector<float>& x, int error) {
  Pcm y;
  for (const float v : x) y.push_back(static_cast<std::int16_t>(static_cast<int>(v) + error));
  return y;
}

TEST(SnrFigures, KnownRatio) {
  const auto x = square(1600, 1000.0f);
  const auto figures = snr_figures(x, off_by(x, 100), 8000);
  ASSERT_TRUE(figures);
  EXPECT_NEAR(figures->snr, 20.0, 1e-9);  // sums of exact products; the logarithm rounds
  EXPECT_NEAR(figures->segmental, 20.0, 1e-9);
  EXPECT_EQ(figures->segments, 10);
}

TEST(SnrFigures, SegmentsAreTwentyMilliseconds) {
  const auto x = square(3200, 1000.0f);
  EXPECT_EQ(snr_figures(x, off_by(x, 1), 8000)->segments, 20);
  EXPECT_EQ(snr_figures(x, off_by(x, 1), 16000)->segments, 10);
}

TEST(SnrFigures, EachSegmentIsHeldAndTheWholeIsNot) {
  // 10 segments off by one part in 1000 (60 dB -> 35), 10 wholly wrong (-20 dB -> -10).
  const auto x = square(3200, 1000.0f);
  Pcm y = off_by(x, 1);
  for (std::size_t n = 1600; n < 3200; ++n) y[n] = static_cast<std::int16_t>(x[n] + 10000.0f);
  const auto figures = snr_figures(x, y, 8000);
  EXPECT_NEAR(figures->segmental, 0.5 * (35.0 - 10.0), 1e-9);
  EXPECT_NEAR(figures->snr, 10.0 * std::log10(2e6 / (1e8 + 1.0)), 1e-9);
}

TEST(SnrFigures, EqualSignals) {
  const auto x = square(1600, 1000.0f);
  const auto figures = snr_figures(x, off_by(x, 0), 8000);
  EXPECT_EQ(figures->segmental, 35.0);
  EXPECT_TRUE(std::isinf(figures->snr));
}

TEST(SnrFigures, OnlySegmentsAboveMinusFiftyDbovCount) {
  const double limit = 32768.0 * std::pow(10.0, -50.0 / 20.0);  // 103.6
  const auto below = square(1600, 103.0f), above = square(1600, 104.0f);
  ASSERT_LT(103.0, limit);
  ASSERT_GT(104.0, limit);
  EXPECT_FALSE(snr_figures(below, off_by(below, 1), 8000));
  EXPECT_EQ(snr_figures(above, off_by(above, 1), 8000)->segments, 10);
  // Quiet segments count for the whole, not for the segments' mean.
  std::vector<float> x = square(160, 1000.0f);
  x.insert(x.end(), 160, 0.0f);
  const auto figures = snr_figures(x, off_by(x, 100), 8000);
  EXPECT_EQ(figures->segments, 1);
  EXPECT_NEAR(figures->segmental, 20.0, 1e-9);
  EXPECT_NEAR(figures->snr, 20.0 - 10.0 * std::log10(2.0), 1e-9);
}

TEST(SnrFigures, AnIncompleteLastSegmentCountsForTheWholeOnly) {
  const auto x = square(160 + 159, 1000.0f);
  Pcm y = off_by(x, 100);
  y.back() = 0;
  const auto figures = snr_figures(x, y, 8000);
  EXPECT_EQ(figures->segments, 1);
  EXPECT_NEAR(figures->segmental, 20.0, 1e-9);
  EXPECT_NEAR(figures->snr, 10.0 * std::log10(319e6 / (318e4 + 1e6)), 1e-9);
}

TEST(SnrFigures, SilenceAndNothingHaveNone) {
  EXPECT_FALSE(snr_figures(std::vector<float>(1600), Pcm(1600), 8000));
  EXPECT_FALSE(snr_figures({}, {}, 8000));
}

TEST(Reference, WidebandIsTheInput) {
  const auto pcm = test::loud_speech(500, 1, 16000.0);
  EXPECT_EQ(reference(QUEL_FLAVOR_16K, pcm), std::vector<float>(pcm.begin(), pcm.end()));
}

/// Of both high-pass filters, from their transfer functions.
double gain_at_1000_hz() {
  const std::complex<double> z1 = std::polar(1.0, -2.0 * std::numbers::pi / 8.0);
  const auto gain = [&](const float* a, const float* b) {
    return std::abs((static_cast<double>(b[0]) + z1 * static_cast<double>(b[1]) +
                     z1 * z1 * static_cast<double>(b[2])) /
                    (1.0 - z1 * static_cast<double>(a[1]) - z1 * z1 * static_cast<double>(a[2])));
  };
  return gain(a_200, b_200) * gain(a_100, b_100);
}

TEST(Reference, NarrowbandRemovesTheMeanAndKeepsSpeech) {
  for (int flavor = 0; flavor < 3; ++flavor) {
    const auto constant = reference(flavor, Pcm(8000, 10000));
    EXPECT_NEAR(constant.back(), 0.0, 2.0);  // the encoder's filter lets 1/10000 of it through
    Pcm tone;
    for (int n = 0; n < 8000; ++n) {
      tone.push_back(static_cast<std::int16_t>(
          std::lround(10000.0 * std::sin(2.0 * std::numbers::pi * n / 8.0))));
    }
    const auto passed = reference(flavor, tone);
    double energy = 0.0;
    for (std::size_t n = 4000; n < 8000; ++n) energy += passed[n] * passed[n];
    EXPECT_NEAR(std::sqrt(2.0 * energy / 4000.0), 10000.0 * gain_at_1000_hz(), 1.0);  // rounding
  }
}

TEST(TryCodec, CountsWhatItCodes) {
  constexpr double nominal[] = {8000.0 * 232 / 288, 8000.0 * 152 / 144, 8000.0 * 296 / 480,
                                16000.0 * 160 / 160};
  for (int flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    const auto pcm = test::loud_speech(4000, 2, flavor == 3 ? 16000.0 : 8000.0);
    Summary summary;
    summary.add(try_codec(flavor, 0, pcm, {}));
    summary.add(try_codec(flavor, 0, Pcm(4000), {}));
    EXPECT_EQ(summary.files(), 1);  // silence has no ratio
    EXPECT_NEAR(summary.bit_rate(), nominal[flavor], 1e-6);
    EXPECT_EQ(summary.total().lost, 0u);
    EXPECT_GT(summary.snr(), 3.0);  // a misplaced or wrong signal has about -3 dB
    EXPECT_GT(summary.segmental(), 0.0);
  }
}

TEST(TryCodec, LossesCostQuality) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    const auto pcm = test::loud_speech(16000, 3, flavor == 3 ? 16000.0 : 8000.0);
    const Trial clean = try_codec(flavor, 0, pcm, {});
    const Trial lossy = try_codec(flavor, 0, pcm, {Concealment::immediate, 20.0, 1});
    EXPECT_EQ(lossy.frames, clean.frames);
    EXPECT_EQ(lossy.bytes, clean.bytes);
    EXPECT_GT(lossy.lost, 0u);
    EXPECT_LT(lossy.figures->snr, clean.figures->snr);
  }
}

TEST(TryCodec, NothingToCode) {
  const Trial trial = try_codec(0, 0, {}, {});
  EXPECT_EQ(trial.bytes, 0u);
  EXPECT_FALSE(trial.figures);
}

// Segmental signal-to-noise ratio through A(z/0.94)/A(z/0.6) of each frame of the speech, in
// double.
double weighted_snr(const std::vector<float>& speech, const Pcm& coded) {
  constexpr std::size_t order = 10, frame = 160;
  double sum = 0.0;
  int count = 0;
  std::vector<double> x(speech.size()), e(speech.size());
  for (std::size_t at = frame; at + frame <= speech.size(); at += frame) {
    double r[order + 1] = {}, a[order + 1] = {1.0};
    for (std::size_t k = 0; k <= order; ++k) {
      for (std::size_t n = at + k; n < at + frame; ++n) r[k] += speech[n] * speech[n - k];
    }
    if (r[0] < 160.0 * 1e4) continue;
    double error = r[0] *= 1.001;
    for (std::size_t i = 1; i <= order; ++i) {
      double k = r[i];
      for (std::size_t j = 1; j < i; ++j) k += a[j] * r[i - j];
      k /= -error;
      double next[order + 1];
      std::copy_n(a, order + 1, next);
      for (std::size_t j = 1; j < i; ++j) next[j] += k * a[i - j];
      next[i] = k;
      std::copy_n(next, order + 1, a);
      error *= 1.0 - k * k;
    }
    double signal = 0.0, noise = 0.0;
    for (std::size_t n = at; n < at + frame; ++n) {
      x[n] = speech[n];
      e[n] = speech[n] - coded[n];
      for (std::size_t k = 1; k <= order; ++k) {
        const double zero = a[k] * std::pow(0.94, static_cast<double>(k));
        const double pole = a[k] * std::pow(0.6, static_cast<double>(k));
        x[n] += zero * speech[n - k] - pole * (n - k >= at ? x[n - k] : 0.0);
        e[n] += zero * (speech[n - k] - coded[n - k]) - pole * (n - k >= at ? e[n - k] : 0.0);
      }
      signal += x[n] * x[n];
      noise += e[n] * e[n];
    }
    sum += std::clamp(10.0 * std::log10(signal / noise), -10.0, 35.0);
    ++count;
  }
  return sum / count;
}

// What the levels are for: on speech each is nearer to it, weighted, than the one below. The first
// step also changes the weighting that is searched with, which the plain ratio pays for.
TEST(Quality, MoreEffortOf8kHzIsNearerToTheSpeech) {
  Pcm pcm = conformance::conformance_signal(8000);
  pcm.resize(5 * 8000);  // its speech
  for (const int flavor : {0, 1, 2}) {
    double before = -100.0;
    for (int effort = 0; effort <= QUEL_MAX_EFFORT; ++effort) {
      Pcm heard;
      try_codec(flavor, effort, pcm, {}, &heard);
      const double now = weighted_snr(reference(flavor, pcm), heard);
      EXPECT_GT(now, before) << flavor << ' ' << effort;
      before = now;
    }
  }
}

}  // namespace
}  // namespace quel::tools
