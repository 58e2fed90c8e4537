#include "bitstream/bits2prm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "bitstream/bitno.h"
#include "bitstream/prm2bits.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::Random;
using ::testing::ElementsAre;
using Words = std::vector<std::int32_t>;
using Bits = std::vector<std::int16_t>;

TEST(Bin2Int, ReadsTheTopBitFirst) {
  const Bits in{0, 1, 1, 0, 1};
  EXPECT_EQ(bin2int(5, in.data()), 0b01101);
  EXPECT_EQ(bin2int(0, in.data()), 0);
}

TEST(Bin2Int, OnlyAWordEqualToOneIsASetBit) {
  const Bits in{1, 2, -1, 127, 1, 0, 32767, -32768};
  EXPECT_EQ(bin2int(8, in.data()), 0b10001000);
}

TEST(Bin2Int, UndoesInt2BinAtEveryWidth) {
  Random random(1);
  for (std::int32_t width = 1; width <= 32; ++width) {
    for (int trial = 0; trial < 20; ++trial) {
      const std::uint32_t value = random.bits();
      Bits bits(static_cast<std::size_t>(width));
      int2bin(static_cast<std::int32_t>(value), width, bits.data());
      const std::uint32_t mask = width == 32 ? ~0u : (1u << width) - 1u;
      EXPECT_EQ(static_cast<std::uint32_t>(bin2int(width, bits.data())), value & mask) << width;
    }
  }
}

TEST(Bits2PrmWb, RoundTripShiftsTheFieldsBehindTheHeader) {
  Random random(2);
  for (const std::int32_t mode : {0, 1}) {
    const auto fields = serial_fields(mode);
    for (int trial = 0; trial < 100; ++trial) {
      SCOPED_TRACE(testing::Message() << "mode " << mode << ", trial " << trial);
      Words prm(fields.size()), expected(fields.size() + 2);
      expected.front() = 0;
      for (std::size_t k = 0; k < fields.size(); ++k) {
        prm[k] = static_cast<std::int32_t>(random.bits());
        expected[k + 1] = prm[k] & ((1 << fields[k]) - 1);
      }
      expected.back() = 77;  // one place more than the array has
      Bits bits(static_cast<std::size_t>(1 + serial_bits(mode)));
      prm2bits_wb(prm.data(), bits.data(), mode);
      Words back(fields.size() + 2, 77);
      bits2prm_wb(bits.data(), back.data(), mode);
      EXPECT_EQ(back, expected);
    }
  }
}

TEST(Bits2PrmWb, HeaderWordBecomesTheBadFrameFlag) {
  Bits bits(161, 0);
  for (const std::int16_t header : {std::int16_t{0}, std::int16_t{1}, std::int16_t{-32768}}) {
    bits[0] = header;
    Words prm(23, 77);
    bits2prm_wb(bits.data(), prm.data(), 0);
    Words expected(23, 0);
    expected[0] = header;
    EXPECT_EQ(prm, expected);
  }
}

TEST(Bits2PrmWb, AnyOtherModeCopiesOnlyTheHeader) {
  for (const std::int32_t mode : {-1, 2, 100}) {
    const Bits bits{5};
    Words prm(3, 77);
    bits2prm_wb(bits.data(), prm.data(), mode);
    EXPECT_THAT(prm, ElementsAre(5, 77, 77));
  }
}

}  // namespace
}  // namespace quel
