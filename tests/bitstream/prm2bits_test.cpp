#include "bitstream/prm2bits.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <limits>
#include <vector>

#include "bitstream/bitno.h"
#include "bitstream/serial.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::Random;
using ::testing::ElementsAre;
using Words = std::vector<std::int32_t>;
using Bits = std::vector<std::int16_t>;

TEST(Int2Bin, WritesTheTopBitFirst) {
  Bits out(6, 9);
  int2bin(0b01101, 5, out.data());
  EXPECT_THAT(out, ElementsAre(0, 1, 1, 0, 1, 9));
}

TEST(Int2Bin, CutsToTheLowBits) {
  Bits out(3);
  int2bin(-1, 3, out.data());
  EXPECT_THAT(out, ElementsAre(1, 1, 1));
  int2bin(8 + 2, 3, out.data());
  EXPECT_THAT(out, ElementsAre(0, 1, 0));
}

TEST(Int2Bin, WidthsFromNoneToAWholeWord) {
  Bits out(32, 9);
  int2bin(5, 0, out.data());
  EXPECT_EQ(out, Bits(32, 9));
  int2bin(std::numeric_limits<std::int32_t>::min(), 32, out.data());
  Bits expected(32, 0);
  expected[0] = 1;
  EXPECT_EQ(out, expected);
}

TEST(Prm2BitsWb, FieldsOfModeOneStandAsListed) {
  EXPECT_THAT(std::vector(std::begin(bitno2), std::end(bitno2)),
              ElementsAre(1, 7, 8, 7, 7, 7, 9, 4, 9, 9, 9, 9, 9, 8, 8, 8, 8, 8, 5, 6, 4, 9, 9, 9, 9,
                          9, 8, 8, 8, 8, 8, 5));
}

// The two formats hold the same fields in the same order, one with each field's top bit first and
// the other with its low bit first.
TEST(Prm2BitsWb, ModeZeroAgreesWithThePackedFrameFieldByField) {
  Random random(1);
  for (int trial = 0; trial < 100; ++trial) {
    SCOPED_TRACE(trial);
    Words prm(22);
    for (auto& word : prm) word = static_cast<std::int32_t>(random.bits());
    Bits serial(162, 9);
    prm2bits_wb(prm.data(), serial.data(), 0);
    std::vector<std::uint8_t> packed(20);
    if (TestBigEndian() != 0) SwapIntBytes(prm.data(), 22);
    prm2binary(prm.data(), packed.data(), 3);
    EXPECT_EQ(serial[0], 0);
    EXPECT_EQ(serial[161], 9);
    int start = 0;
    for (const int width : bitno) {
      for (int i = 0; i < width; ++i) {
        const int at = start + i;
        const int bit = packed[static_cast<std::size_t>(at / 8)] >> (at % 8) & 1;
        EXPECT_EQ(serial[static_cast<std::size_t>(1 + start + width - 1 - i)], bit) << at;
      }
      start += width;
    }
    EXPECT_EQ(start, 160);
  }
}

TEST(Prm2BitsWb, ModeOneWritesAHeaderAnd240Bits) {
  Words prm(32, 0);
  prm[31] = 1;
  Bits bits(242, 9);
  prm2bits_wb(prm.data(), bits.data(), 1);
  Bits expected(242, 0);
  expected[240] = 1;
  expected[241] = 9;
  EXPECT_EQ(bits, expected);
}

TEST(Prm2BitsWb, AnyOtherModeWritesOnlyTheHeader) {
  for (const std::int32_t mode : {-1, 2, 100}) {
    const Words prm(32, -1);
    Bits bits(4, 9);
    prm2bits_wb(prm.data(), bits.data(), mode);
    EXPECT_THAT(bits, ElementsAre(0, 9, 9, 9));
  }
}

}  // namespace
}  // namespace quel
