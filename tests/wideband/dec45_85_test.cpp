#include "wideband/dec45_85.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>

#include "support/signals.h"

namespace quel {
namespace {

using Vector = std::array<float, 80>;

Vector decode(std::array<std::int32_t, 5> indices) {
  Vector code;
  code.fill(99.0f);
  DEC_ACELP_45_85(indices.data(), code.data());
  return code;
}

TEST(DecAcelp4585, IndexZeroOnEveryTrackGivesTwosAtTheStart) {
  Vector expected{};
  for (std::size_t n = 0; n < 5; ++n) expected[n] = 2.0f;
  EXPECT_EQ(decode({}), expected);
}

TEST(DecAcelp4585, LikePulsesOnOneSampleAddToTwo) {
  const Vector code = decode({0x077, 0x1ff, 0, 0, 0});
  EXPECT_EQ(code[5 * 7], 2.0f);
  EXPECT_EQ(code[1 + 5 * 15], -2.0f);
}

TEST(DecAcelp4585, SecondPulseBeforeTheFirstHasTheOppositeSign) {
  const Vector code = decode({0x0f3, 0x1f3, 0x03f, 0x13f, 0});
  EXPECT_EQ(code[5 * 15], 1.0f);
  EXPECT_EQ(code[5 * 3], -1.0f);
  EXPECT_EQ(code[1 + 5 * 15], -1.0f);
  EXPECT_EQ(code[1 + 5 * 3], 1.0f);
  EXPECT_EQ(code[2 + 5 * 3], 1.0f);
  EXPECT_EQ(code[2 + 5 * 15], 1.0f);
  EXPECT_EQ(code[3 + 5 * 3], -1.0f);
  EXPECT_EQ(code[3 + 5 * 15], -1.0f);
}

TEST(DecAcelp4585, EveryIndexPutsTwoPulsesOnItsTrack) {
  for (std::int32_t v = 0; v < 512; ++v) {
    for (std::size_t t = 0; t < 5; ++t) {
      std::array<std::int32_t, 5> indices{};
      indices[t] = v;
      Vector expected = decode({});
      expected[t] = 0.0f;
      const float s = v < 256 ? 1.0f : -1.0f;
      const auto a = static_cast<std::size_t>(v / 16 % 16), b = static_cast<std::size_t>(v % 16);
      expected[t + 5 * a] += s;
      expected[t + 5 * b] += b < a ? -s : s;
      EXPECT_EQ(decode(indices), expected);
    }
  }
}

TEST(DecAcelp4585, BitsBeyondTheFieldAreNotRead) {
  test::Random random(1);
  for (int trial = 0; trial < 100; ++trial) {
    std::array<std::int32_t, 5> wide, cut;
    for (std::size_t t = 0; t < 5; ++t) {
      wide[t] = static_cast<std::int32_t>(random.bits());
      cut[t] = wide[t] & 511;
    }
    EXPECT_EQ(decode(wide), decode(cut));
  }
  EXPECT_EQ(decode({-1, std::numeric_limits<std::int32_t>::min(), 512, 1024, -512}),
            decode({511, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace quel
