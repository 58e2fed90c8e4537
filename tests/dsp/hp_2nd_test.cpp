#include "dsp/hp_2nd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::noise;
using ::testing::ElementsAre;
using Floats = std::vector<float>;

struct HighPass {
  const float* a;
  const float* b;
};
const HighPass filters[] = {{a_200, b_200}, {a_100, b_100}};

Floats filtered(const HighPass& filter, Floats x) {
  float memx[2] = {}, memy[2] = {};
  hp_2nd(x.data(), static_cast<int>(x.size()), filter.a, filter.b, memx, memy);
  return x;
}

double angle(double hz) {
  return 2.0 * std::numbers::pi * hz / 8000.0;
}

double table_gain(const HighPass& filter, double hz) {
  const std::complex<double> z1 = std::polar(1.0, -angle(hz)), z2 = z1 * z1;
  const std::complex<double> numerator = static_cast<double>(filter.b[0]) +
                                         static_cast<double>(filter.b[1]) * z1 +
                                         static_cast<double>(filter.b[2]) * z2;
  const std::complex<double> denominator =
      1.0 - static_cast<double>(filter.a[1]) * z1 - static_cast<double>(filter.a[2]) * z2;
  return std::abs(numerator / denominator);
}

// Gain for a steady sine (for 0 Hz a constant): the first of two seconds lets the filter settle.
double measured_gain(const HighPass& filter, double hz) {
  Floats x(16000);
  for (std::size_t n = 0; n < x.size(); ++n) {
    x[n] = static_cast<float>(10000.0 * std::cos(angle(hz) * static_cast<double>(n)));
  }
  const Floats y = filtered(filter, x);
  std::complex<double> in = 0, out = 0;
  for (std::size_t n = 8000; n < 16000; ++n) {
    const auto turn = std::polar(1.0, -angle(hz) * static_cast<double>(n));
    in += static_cast<double>(x[n]) * turn;
    out += static_cast<double>(y[n]) * turn;
  }
  return std::abs(out / in);
}

double dB(double gain) {
  return 20.0 * std::log10(gain);
}

// An output is rounded by up to 2^-24 of 10000, and feedback at DC piles that up by
// 1 / (1 - a[1] - a[2]) = 350 at most: 2e-5 of full scale.
TEST(Hp2nd, MeasuredGainIsThatOfTheCoefficients) {
  for (const HighPass& filter : filters) {
    for (const double hz : {0.0, 50.0, 100.0, 200.0, 1000.0, 3000.0}) {
      EXPECT_NEAR(measured_gain(filter, hz), table_gain(filter, hz), 2.5e-5) << hz;
    }
  }
}

TEST(Hp2nd, TakesAwayTheConstantAndKeepsSpeech) {
  const HighPass& input = filters[0];
  const HighPass& output = filters[1];
  EXPECT_LT(dB(measured_gain(input, 0)), -39.9);
  EXPECT_LT(dB(measured_gain(output, 0)), -39.9);
  EXPECT_NEAR(dB(measured_gain(input, 100)), -6.05, 0.01);
  EXPECT_NEAR(dB(measured_gain(output, 100)), -0.25, 0.01);
  EXPECT_NEAR(dB(measured_gain(input, 1000)), -0.22, 0.01);
  EXPECT_NEAR(dB(measured_gain(output, 1000)), -0.24, 0.01);
}

TEST(Hp2nd, PulseResponseFollowsTheDifferenceEquation) {
  Floats pulse(4);
  pulse[0] = 1.0f;
  const float b[3] = {1.0f, 2.0f, 4.0f}, a[3] = {99.0f, 0.5f, 0.25f};  // a[0] is not used
  const Floats y = filtered({a, b}, pulse);
  EXPECT_THAT(y, ElementsAre(1.0f, 2.5f, 5.5f, 3.375f));
}

TEST(Hp2nd, FrameAndItsHalvesGiveTheSameOutput) {
  for (const HighPass& filter : filters) {
    const Floats x = noise(288, 1);
    Floats whole = x, halves = x;
    float memx[2] = {3.0f, -5.0f}, memy[2] = {7.0f, 11.0f};
    float memx2[2] = {3.0f, -5.0f}, memy2[2] = {7.0f, 11.0f};
    hp_2nd(whole.data(), 288, filter.a, filter.b, memx, memy);
    hp_2nd(halves.data(), 144, filter.a, filter.b, memx2, memy2);
    hp_2nd(halves.data() + 144, 144, filter.a, filter.b, memx2, memy2);
    EXPECT_EQ(halves, whole);
    EXPECT_THAT(memx2, ElementsAre(memx[0], memx[1]));
    EXPECT_THAT(memy2, ElementsAre(memy[0], memy[1]));
  }
}

TEST(Hp2nd, MemoriesHoldTheLastTwoSamplesNewestFirst) {
  const Floats x = noise(10, 2);
  Floats y = x;
  float memx[2] = {}, memy[2] = {};
  hp_2nd(y.data(), 10, a_200, b_200, memx, memy);
  EXPECT_THAT(memx, ElementsAre(x[9], x[8]));
  EXPECT_THAT(memy, ElementsAre(y[9], y[8]));
}

TEST(Hp2nd, OneSampleMovesTheMemoriesOn) {
  float sig[1] = {8.0f}, memx[2] = {4.0f, 2.0f}, memy[2] = {1.0f, 16.0f};
  const float b[3] = {1.0f, 1.0f, 1.0f}, a[3] = {1.0f, 2.0f, -0.5f};
  hp_2nd(sig, 1, a, b, memx, memy);
  EXPECT_EQ(sig[0], 8.0f + 4.0f + 2.0f + 2.0f - 8.0f);
  EXPECT_THAT(memx, ElementsAre(8.0f, 4.0f));
  EXPECT_THAT(memy, ElementsAre(8.0f, 1.0f));
}

TEST(Hp2nd, PolesLieInsideTheUnitCircle) {
  for (const HighPass& filter : filters) {
    EXPECT_LT(std::abs(filter.a[2]), 1.0f);
    EXPECT_LT(std::abs(filter.a[1]), 1.0f - filter.a[2]);
  }
}

}  // namespace
}  // namespace quel
