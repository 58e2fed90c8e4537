#include "dsp/snr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::noise;
using Floats = std::vector<float>;

void add(SnrTotals& totals, const Floats& x, const Floats& y) {
  snr(totals, x.data(), y.data(), static_cast<int>(x.size()));
}

double dB(double ratio) {
  return 10.0 * std::log10(ratio);
}

TEST(Snr, TotalsAreZeroAtLoad) {
  const SnrTotals totals;
  EXPECT_EQ(totals.toten, 0.0f);
  EXPECT_EQ(totals.totnoise, 0.0f);
  EXPECT_EQ(totals.cntsnr, 0.0f);
  EXPECT_EQ(totals.sumsegsnr, 0.0f);
  EXPECT_EQ(totals.segsnr, 0.0f);
  EXPECT_EQ(totals.snr, 0.0f);
}

TEST(Snr, FollowsItsFormulasOverManySegments) {
  SnrTotals totals;
  double signal = 0, error = 0, sum = 0;
  int active = 0;
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    const auto x = noise(48, seed, seed % 3 == 0 ? 5.0 : 2000.0);
    const auto e = noise(48, seed + 100, 10.0 + seed);
    Floats y = x;
    double s = 0.01, n = 0.01;
    for (std::size_t i = 0; i < x.size(); ++i) {
      y[i] += e[i];
      s += std::pow(static_cast<double>(x[i]), 2.0);
      n += std::pow(static_cast<double>(x[i]) - y[i], 2.0);
    }
    add(totals, x, y);
    signal += s;
    error += n;
    if (dB(s / 48) > 30.0) {
      ++active;
      sum += dB(s / n);
    }
    // Forty roundings to float, each within 2^-24.
    EXPECT_NEAR(totals.toten, signal, signal * 40 * 0x1p-24);
    EXPECT_NEAR(totals.totnoise, error, error * 40 * 0x1p-24);
    EXPECT_EQ(totals.cntsnr, static_cast<float>(active));
    EXPECT_NEAR(totals.sumsegsnr, sum, sum * 41 * 0x1p-24);
    EXPECT_NEAR(totals.segsnr, active > 0 ? sum / active : 0.0, sum * 42 * 0x1p-24);
    // 80 roundings of 2^-24 change a ratio by 2.1e-5 dB.
    EXPECT_NEAR(totals.snr, dB(signal / error), 3e-5);
  }
  EXPECT_GT(active, 20);
  EXPECT_LT(active, 40);
}

TEST(Snr, EqualSignalsLeaveOnlyTheBiasAsNoise) {
  SnrTotals totals;
  const Floats x(100, 100.0f);  // mean energy 40 dB
  add(totals, x, x);
  EXPECT_EQ(totals.totnoise, 0.01f);
  EXPECT_EQ(totals.cntsnr, 1.0f);
  EXPECT_FLOAT_EQ(totals.snr, 80.0f);  // 1000000.01 to 0.01
  EXPECT_FLOAT_EQ(totals.segsnr, 80.0f);
}

TEST(Snr, SilenceCountsForTheWholeButNotForTheSegments) {
  SnrTotals totals;
  const Floats silence(48);
  add(totals, silence, silence);
  EXPECT_EQ(totals.cntsnr, 0.0f);
  EXPECT_EQ(totals.segsnr, 0.0f);
  EXPECT_EQ(totals.toten, 0.01f);
  EXPECT_EQ(totals.snr, 0.0f);  // 0.01 to 0.01
}

TEST(Snr, QuietSegmentKeepsTheSegmentalRatio) {
  SnrTotals totals;
  add(totals, Floats(48, 1000.0f), Floats(48, 990.0f));
  const float before = totals.segsnr;
  EXPECT_NEAR(before, 40.0, 1e-4);  // the bias of 0.01 to 4800 is 1e-5 dB
  add(totals, Floats(48, 10.0f), Floats(48, 0.0f));
  EXPECT_EQ(totals.segsnr, before);
  EXPECT_EQ(totals.cntsnr, 1.0f);
  EXPECT_LT(totals.snr, 40.0f);
}

TEST(Snr, SegmentIsActiveAboveThirtyDecibels) {
  for (const auto& [value, active] : {std::pair{31.6226f, 0.0f}, {31.6229f, 1.0f}}) {
    SnrTotals totals;
    add(totals, {value}, {0.0f});
    EXPECT_EQ(totals.cntsnr, active) << value * value;
  }
}

TEST(Snr, ExactlyThirtyDecibelsIsNotActive) {
  // Squares that bring the energy, bias included, to exactly 1000 a sample.
  Floats x;
  double energy = 0.01;
  for (int i = 0; i < 4; ++i) {
    x.push_back(std::nextafter(static_cast<float>(std::sqrt(4000.0 - energy)), 0.0f));
    energy += static_cast<double>(x.back()) * x.back();
  }
  ASSERT_EQ(energy, 4000.0);
  SnrTotals totals;
  add(totals, x, Floats(4));
  EXPECT_EQ(totals.toten, 4000.0f);
  EXPECT_EQ(totals.cntsnr, 0.0f);
}

}  // namespace
}  // namespace quel
