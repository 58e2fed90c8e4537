#include "dsp/pcm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <limits>

#include "support/signals.h"

namespace quel {
namespace {

using ::testing::ElementsAre;
using Limits = std::numeric_limits<float>;

// trunc(x + 0.5) clipped, by whole-number functions on doubles.
int plain_pcm(float x) {
  if (std::isnan(x)) return 0;
  const double y = std::trunc(static_cast<double>(x) + 0.5);
  return static_cast<int>(std::fmin(32767.0, std::fmax(-32768.0, y)));
}

TEST(FloatToPcm, RoundsByTruncationTowardsZeroOfXPlusHalf) {
  EXPECT_EQ(float_to_pcm(0.0f), 0);
  EXPECT_EQ(float_to_pcm(-0.0f), 0);
  EXPECT_EQ(float_to_pcm(0.5f), 1);
  EXPECT_EQ(float_to_pcm(1.49f), 1);
  EXPECT_EQ(float_to_pcm(1.5f), 2);
  EXPECT_EQ(float_to_pcm(-0.5f), 0);
  EXPECT_EQ(float_to_pcm(-0.9f), 0);
  EXPECT_EQ(float_to_pcm(-1.49f), 0);
  EXPECT_EQ(float_to_pcm(-1.5f), -1);
  EXPECT_EQ(float_to_pcm(-1.6f), -1);
}

TEST(FloatToPcm, SumWithHalfIsNotRoundedToFloat) {
  const float below_half = std::nextafter(0.5f, 0.0f);
  EXPECT_EQ(below_half + 0.5f, 1.0f);  // what a float sum would make of it
  EXPECT_EQ(float_to_pcm(below_half), 0);
}

TEST(FloatToPcm, EndsOfTheRange) {
  EXPECT_EQ(float_to_pcm(32766.0f), 32766);
  EXPECT_EQ(float_to_pcm(std::nextafter(32766.5f, 0.0f)), 32766);
  EXPECT_EQ(float_to_pcm(32766.5f), 32767);
  EXPECT_EQ(float_to_pcm(32767.0f), 32767);
  EXPECT_EQ(float_to_pcm(32767.5f), 32767);
  EXPECT_EQ(float_to_pcm(32768.0f), 32767);
  EXPECT_EQ(float_to_pcm(-32767.5f), -32767);
  EXPECT_EQ(float_to_pcm(-32768.0f), -32767);
  EXPECT_EQ(float_to_pcm(std::nextafter(-32768.5f, 0.0f)), -32767);
  EXPECT_EQ(float_to_pcm(-32768.5f), -32768);
  EXPECT_EQ(float_to_pcm(-32769.0f), -32768);
  EXPECT_EQ(float_to_pcm(-40000.0f), -32768);
}

TEST(FloatToPcm, EveryClassOfFloatIsDefined) {
  EXPECT_EQ(float_to_pcm(Limits::infinity()), 32767);
  EXPECT_EQ(float_to_pcm(-Limits::infinity()), -32768);
  EXPECT_EQ(float_to_pcm(Limits::max()), 32767);
  EXPECT_EQ(float_to_pcm(Limits::lowest()), -32768);
  EXPECT_EQ(float_to_pcm(Limits::quiet_NaN()), 0);
  EXPECT_EQ(float_to_pcm(-Limits::quiet_NaN()), 0);
  EXPECT_EQ(float_to_pcm(std::bit_cast<float>(0x7F800001u)), 0);  // signalling
  EXPECT_EQ(float_to_pcm(Limits::denorm_min()), 0);
  EXPECT_EQ(float_to_pcm(-Limits::denorm_min()), 0);
  EXPECT_EQ(float_to_pcm(Limits::min()), 0);
  EXPECT_EQ(float_to_pcm(-Limits::min()), 0);
}

TEST(FloatToPcm, QuarterStepsThroughTheWholeRange) {
  for (int quarter = -4 * 32800; quarter <= 4 * 32800; ++quarter) {
    const float x = static_cast<float>(quarter) / 4.0f;
    ASSERT_EQ(float_to_pcm(x), plain_pcm(x)) << x;
  }
}

TEST(FloatToPcm, AnyBitPattern) {
  test::Random random(1);
  for (int trial = 0; trial < 200000; ++trial) {
    const std::uint32_t pattern = random.bits();
    const float x = std::bit_cast<float>(pattern);
    ASSERT_EQ(float_to_pcm(x), plain_pcm(x)) << std::hex << pattern;
  }
}

TEST(FloatToPcm, ArrayFormConvertsEachSample) {
  const float x[] = {1.5f, -1.5f, 1e9f};
  std::int16_t out[] = {9, 9, 9, 9};
  float_to_pcm(x, out, 3);
  EXPECT_THAT(out, ElementsAre(2, -1, 32767, 9));
  float_to_pcm(x, out, 0);
  EXPECT_THAT(out, ElementsAre(2, -1, 32767, 9));
}

// 32768 times x, rounded by the C library from a double, which holds it exactly.
int plain_unit(float x) {
  if (std::isnan(x)) return 0;
  const double y = std::nearbyint(32768.0 * static_cast<double>(x));
  return static_cast<int>(std::fmin(32767.0, std::fmax(-32768.0, y)));
}

TEST(UnitToPcm, RoundsToNearestAndTiesToEven) {
  const auto pcm = [](double steps) { return unit_to_pcm(static_cast<float>(steps / 32768)); };
  EXPECT_EQ(pcm(0.5), 0);
  EXPECT_EQ(pcm(1.5), 2);
  EXPECT_EQ(pcm(2.5), 2);
  EXPECT_EQ(pcm(-0.5), 0);
  EXPECT_EQ(pcm(-1.5), -2);
  EXPECT_EQ(pcm(-2.5), -2);
  EXPECT_EQ(pcm(2.5078125), 3);
  EXPECT_EQ(pcm(-2.5078125), -3);
  EXPECT_EQ(pcm(32766.5), 32766);
  EXPECT_EQ(pcm(-32767.5), -32768);
}

TEST(UnitToPcm, ClipsAndTakesNoNumberForSilence) {
  EXPECT_EQ(unit_to_pcm(1.0f), 32767);
  EXPECT_EQ(unit_to_pcm(-1.0f), -32768);
  EXPECT_EQ(unit_to_pcm(32767.5f / 32768), 32767);
  EXPECT_EQ(unit_to_pcm(Limits::max()), 32767);  // 32768 times as large is infinite
  EXPECT_EQ(unit_to_pcm(Limits::lowest()), -32768);
  EXPECT_EQ(unit_to_pcm(Limits::infinity()), 32767);
  EXPECT_EQ(unit_to_pcm(-Limits::infinity()), -32768);
  EXPECT_EQ(unit_to_pcm(Limits::quiet_NaN()), 0);
  EXPECT_EQ(unit_to_pcm(Limits::denorm_min()), 0);
  EXPECT_EQ(unit_to_pcm(-Limits::denorm_min()), 0);
}

// Every 255th float there is, and each 16-bit sample there and back.
TEST(UnitToPcm, EveryMagnitudeRoundsAsTheLibraryDoes) {
  for (std::uint64_t bits = 0; bits < (std::uint64_t{1} << 32); bits += 255) {
    const float x = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
    ASSERT_EQ(unit_to_pcm(x), plain_unit(x)) << x;
  }
  for (int sample = -32768; sample <= 32767; ++sample) {
    const float x = pcm_to_unit(static_cast<std::int16_t>(sample));
    ASSERT_EQ(static_cast<double>(x) * 32768.0, sample);
    ASSERT_EQ(unit_to_pcm(x), sample);
  }
}

TEST(UnitToPcm, TheRoundingModeOfTheProgramDoesNotMatter) {
  const int before = std::fegetround();
  for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    ASSERT_EQ(std::fesetround(mode), 0);
    for (int quarter = -40; quarter <= 40; ++quarter) {
      const volatile float x = static_cast<float>(quarter) / 4.0f / 32768.0f;
      const int got = unit_to_pcm(x);
      std::fesetround(before);
      EXPECT_EQ(got, plain_unit(x)) << quarter;
      std::fesetround(mode);
    }
  }
  std::fesetround(before);
}

}  // namespace
}  // namespace quel
