#include "bitstream/serial.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bitstream/mode.h"
#include "support/signals.h"

namespace quel {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::int32_t>;
using test::Random;
using ::testing::ElementsAre;

bool bit(const Bytes& bytes, int i) {
  return (bytes[static_cast<std::size_t>(i / 8)] >> (i % 8) & 1) != 0;
}

void put_bit(Bytes& bytes, int i, bool value) {
  auto& byte = bytes[static_cast<std::size_t>(i / 8)];
  const int weight = 1 << (i % 8);
  byte = static_cast<std::uint8_t>(value ? byte | weight : byte & ~weight);
}

Bytes random_bytes(std::size_t n, Random& random) {
  Bytes bytes(n);
  for (auto& b : bytes) b = static_cast<std::uint8_t>(random.bits());
  return bytes;
}

// What a driver does round the packing: words are swapped on big-endian hosts only.
void little_endian(Words& words) {
  if (TestBigEndian() != 0) SwapIntBytes(words.data(), static_cast<std::int32_t>(words.size()));
}

Bytes pack(Words prm, std::int32_t flavor, Bytes bits) {
  little_endian(prm);
  prm2binary(prm.data(), bits.data(), flavor);
  return bits;
}

Words unpack(const Bytes& bits, std::int32_t flavor) {
  Words prm(flavor == 3 ? 23 : 21, -1);
  binary2prm(prm.data(), bits.data(), flavor);
  const std::int32_t head = prm[0];  // in the host's order before the swap
  little_endian(prm);
  prm[0] = head;
  return prm;
}

std::size_t frame_bytes(std::int32_t flavor) {
  const std::size_t bytes[] = {15, 19, 19, 20};
  return bytes[flavor];
}

// The widths, written as the frame is built: envelope, then one group per subframe.
Words field_widths(std::int32_t flavor) {
  const auto subframes = [](Words head, const Words& lags, const Words& group) {
    for (const std::int32_t lag : lags) {
      head.push_back(lag);
      head.insert(head.end(), group.begin(), group.end());
    }
    return head;
  };
  switch (flavor) {
    case 0:
      return subframes({6, 7, 7, 7, 5}, {8, 5, 5}, {5, 5, 5, 7});
    case 1:
      return subframes({6, 7, 7, 7, 5}, {8, 5, 5}, {9, 9, 9, 7});
    case 2:
      return subframes({6, 7, 7, 7, 5}, {8, 5, 8, 5, 5}, {10, 7});
    default:
      return subframes({1, 7, 8, 7, 7, 7}, {9, 6}, {4, 9, 9, 9, 9, 9, 5});
  }
}

Words counting(std::size_t n) {
  Words words(n);
  for (std::size_t k = 0; k < n; ++k) words[k] = static_cast<std::int32_t>(k);
  return words;
}

TEST(BitCopy, WorkedExampleIntoZeros) {
  const Bytes src{0x34, 0x12};
  Bytes dst(3, 0x00);
  bitcopy(dst.data(), src.data(), 3, 0, 12);
  EXPECT_THAT(dst, ElementsAre(0xA0, 0x11, 0x00));
}

TEST(BitCopy, WorkedExampleIntoOnes) {
  const Bytes src{0x34, 0x12};
  Bytes dst(3, 0xFF);
  bitcopy(dst.data(), src.data(), 3, 0, 12);
  EXPECT_THAT(dst, ElementsAre(0xA7, 0x91, 0xFF));
}

// Buffers end with the byte that holds the range's last bit, each in a block of its own, so that a
// memory checker sees one byte too many; bits outside the range compare with what they were.
TEST(BitCopy, EqualsTheBitwiseDefinitionAtEveryAlignment) {
  Random random(1);
  for (int d = 0; d < 17; ++d) {
    for (int s = 0; s < 17; ++s) {
      for (int n = 0; n <= 41; ++n) {
        const Bytes src = random_bytes(static_cast<std::size_t>((s + n + 7) / 8), random);
        Bytes dst = random_bytes(static_cast<std::size_t>((d + n + 7) / 8), random);
        Bytes expected = dst;
        for (int k = 0; k < n; ++k) put_bit(expected, d + k, bit(src, s + k));
        bitcopy(dst.data(), src.data(), d, s, n);
        ASSERT_EQ(dst, expected) << "to " << d << " from " << s << ", " << n << " bits";
      }
    }
  }
}

TEST(BitCopy, LongRunsEqualTheBitwiseDefinition) {
  Random random(2);
  for (int trial = 0; trial < 300; ++trial) {
    const int d = random.integer(0, 200), s = random.integer(0, 200), n = random.integer(0, 400);
    SCOPED_TRACE(testing::Message() << "to " << d << " from " << s << ", " << n << " bits");
    const Bytes src = random_bytes(static_cast<std::size_t>((s + n + 7) / 8), random);
    Bytes dst = random_bytes(static_cast<std::size_t>((d + n + 7) / 8), random);
    Bytes expected = dst;
    for (int k = 0; k < n; ++k) put_bit(expected, d + k, bit(src, s + k));
    bitcopy(dst.data(), src.data(), d, s, n);
    ASSERT_EQ(dst, expected);
  }
}

TEST(BitCopy, NothingToCopyTouchesNothing) {
  const Bytes src{0xFF};
  Bytes dst{0x00};
  bitcopy(dst.data(), src.data(), 3, 2, 0);
  bitcopy(dst.data(), src.data(), 3, 2, -5);
  bitcopy(nullptr, nullptr, 0, 0, 0);
  EXPECT_THAT(dst, ElementsAre(0x00));
}

TEST(Prm2Binary, PositionNumbersInFlavorZero) {
  const Bytes bits = pack(counting(21), 0, Bytes(19));
  EXPECT_THAT(bits, ElementsAre(0x81, 0x60, 0x40, 0x28, 0x06, 0x07, 0x25, 0xC5, 0x62, 0xCD, 0x3D,
                                0x60, 0x94, 0x93, 0x02, 0, 0, 0, 0));
  EXPECT_EQ(unpack(bits, 0), counting(21));  // word 0 is the flavor, which is 0 too
}

TEST(Prm2Binary, PositionNumbersInFlavorThree) {
  const Bytes bits = pack(counting(22), 3, Bytes(20));
  EXPECT_THAT(bits, ElementsAre(0x02, 0x02, 0x03, 0x42, 0xC1, 0xC0, 0x21, 0x48, 0xA0, 0x60, 0x01,
                                0x83, 0xE6, 0x3C, 0x84, 0x08, 0x12, 0x26, 0x50, 0xA8));
  Words expected = counting(22);
  expected.insert(expected.begin(), 0);
  EXPECT_EQ(unpack(bits, 3), expected);
}

TEST(Prm2Binary, FieldsStandWhereTheFrameLayoutPutsThem) {
  for (std::int32_t flavor = 0; flavor < 4; ++flavor) {
    const Words widths = field_widths(flavor);
    const std::size_t first = flavor == 3 ? 0 : 1;
    int position = 0;
    for (std::size_t k = 0; k < widths.size(); ++k) {
      SCOPED_TRACE(testing::Message() << "flavor " << flavor << ", field " << k);
      Words prm(22, 0);
      prm[first + k] = -1;
      Bytes expected(20);
      for (int i = 0; i < widths[k]; ++i) put_bit(expected, position + i, true);
      EXPECT_EQ(pack(prm, flavor, Bytes(20)), expected);
      position += widths[k];
    }
    Mode mode;
    set_mode(mode, flavor);
    EXPECT_EQ(position, mode.prmBits);
  }
}

TEST(Prm2Binary, LowBitOfAFieldComesFirst) {
  Words prm(21, 0);
  prm[1] = 1;  // bit 0
  prm[2] = 2;  // bits 6..12
  EXPECT_EQ(pack(prm, 1, Bytes(19))[0], 0x81);
}

TEST(Prm2Binary, ControlWordIsNotSent) {
  Words prm(21, 0);
  for (std::int32_t flavor = 0; flavor < 3; ++flavor) {
    prm[0] = -1;
    EXPECT_EQ(pack(prm, flavor, Bytes(19)), Bytes(19)) << flavor;
  }
}

TEST(Prm2Binary, CutsAValueToItsField) {
  Words prm(21, 0);
  prm[2] = 300;  // 7 bits
  EXPECT_EQ(unpack(pack(prm, 0, Bytes(15)), 0)[2], 44);
  prm[2] = -1;
  EXPECT_EQ(unpack(pack(prm, 0, Bytes(15)), 0)[2], 127);
}

TEST(Prm2Binary, RoundTripKeepsEveryFieldAndWritesOnlyTheFrame) {
  Random random(3);
  for (std::int32_t flavor = 0; flavor < 4; ++flavor) {
    const Words widths = field_widths(flavor);
    const std::size_t first = flavor == 3 ? 0 : 1;
    for (int trial = 0; trial < 200; ++trial) {
      SCOPED_TRACE(testing::Message() << "flavor " << flavor << ", trial " << trial);
      Words prm(first + widths.size()), expected(widths.size() + 1);
      expected[0] = flavor == 3 ? 0 : flavor;
      for (std::size_t k = 0; k < widths.size(); ++k) {
        prm[first + k] = static_cast<std::int32_t>(random.bits());
        expected[1 + k] = prm[first + k] & ((1 << widths[k]) - 1);
      }
      const Bytes before = random_bytes(frame_bytes(flavor), random);
      const Bytes bits = pack(prm, flavor, before);
      EXPECT_EQ(unpack(bits, flavor), expected);
      if (flavor == 0) {
        EXPECT_EQ(bits[14] & 0xF0, before[14] & 0xF0);
      }
      if (flavor == 2) {
        EXPECT_EQ(bits[18] & 0xF0, before[18] & 0xF0);
      }
    }
  }
}

TEST(Prm2Binary, UnpackingThenPackingGivesAnyFrameBack) {
  Random random(4);
  for (std::int32_t flavor = 0; flavor < 4; ++flavor) {
    for (int trial = 0; trial < 100; ++trial) {
      const Bytes bits = random_bytes(frame_bytes(flavor), random);
      Words prm = unpack(bits, flavor);
      if (flavor == 3) prm.erase(prm.begin());  // the encoder's array has no flag in front
      EXPECT_EQ(pack(prm, flavor, bits), bits) << flavor;
      Bytes zeros(frame_bytes(flavor)), expected = bits;
      if (flavor == 0 || flavor == 2) expected.back() &= 0x0F;
      EXPECT_EQ(pack(prm, flavor, zeros), expected) << flavor;
    }
  }
}

TEST(Prm2Binary, TwoFramesOfAUnitMeetInTheMiddleOfAByte) {
  Random random(5);
  for (const std::int32_t flavor : {0, 2}) {
    SCOPED_TRACE(flavor);
    Mode mode;
    set_mode(mode, flavor);
    const Bytes first = random_bytes(frame_bytes(flavor), random);
    const Bytes second = random_bytes(frame_bytes(flavor), random);
    Bytes unit(static_cast<std::size_t>(mode.outputBytes));
    bitcopy(unit.data(), first.data(), 0, 0, mode.prmBits);
    bitcopy(unit.data(), second.data(), mode.prmBits, 0, mode.prmBits);
    const auto middle = static_cast<std::size_t>(mode.prmBits / 8);
    EXPECT_EQ(middle, flavor == 0 ? 14u : 18u);
    EXPECT_EQ(unit[middle] & 0x0F, first[middle] & 0x0F);
    EXPECT_EQ(unit[middle] >> 4, second[0] & 0x0F);
    Bytes back(frame_bytes(flavor));
    bitcopy(back.data(), unit.data(), 0, mode.prmBits, mode.prmBits);
    EXPECT_EQ(unpack(back, flavor), unpack(second, flavor));
  }
}

TEST(Binary2Prm, ControlWordIsTheFlavorOrTheGoodFrameFlag) {
  const Bytes bits(20, 0xFF);
  for (std::int32_t flavor = 0; flavor < 3; ++flavor) EXPECT_EQ(unpack(bits, flavor)[0], flavor);
  EXPECT_EQ(unpack(bits, 3)[0], 0);
}

TEST(Binary2Prm, UpperBitsOfEveryWordAreCleared) {
  const Bytes bits(20, 0xFF);
  for (std::int32_t flavor = 0; flavor < 4; ++flavor) {
    const Words widths = field_widths(flavor), prm = unpack(bits, flavor);
    for (std::size_t k = 0; k < widths.size(); ++k) EXPECT_EQ(prm[1 + k], (1 << widths[k]) - 1);
  }
}

TEST(Binary2Prm, ForeignFlavorDoesNothing) {
  const Bytes bits(20, 0xFF);
  for (const std::int32_t flavor : {-1, 4, 1 << 30}) {
    Words prm(23, 77);
    binary2prm(prm.data(), bits.data(), flavor);
    EXPECT_EQ(prm, Words(23, 77));
    Bytes out(20, 0x5A);
    prm2binary(prm.data(), out.data(), flavor);
    EXPECT_EQ(out, Bytes(20, 0x5A));
  }
}

TEST(TestBigEndian, AgreesWithTheCompiler) {
  EXPECT_EQ(TestBigEndian(), std::endian::native == std::endian::big ? 1 : 0);
}

TEST(SwapIntBytes, ReversesTheBytesOfEachWord) {
  std::array<std::int32_t, 3> words{0x01020304, -2, 0x7F000000};
  SwapIntBytes(words.data(), 3);
  EXPECT_THAT(words, ElementsAre(0x04030201, static_cast<std::int32_t>(0xFEFFFFFFu), 0x7F));
  SwapIntBytes(words.data(), 3);
  EXPECT_THAT(words, ElementsAre(0x01020304, -2, 0x7F000000));
}

TEST(SwapIntBytes, WorksOnBytesAtAnyAddress) {
  std::array<std::uint8_t, 9> bytes{9, 1, 2, 3, 4, 5, 6, 7, 8};
  SwapIntBytes(bytes.data() + 1, 2);
  EXPECT_THAT(bytes, ElementsAre(9, 4, 3, 2, 1, 8, 7, 6, 5));
}

TEST(SwapIntBytes, CountBelowOneLeavesMemoryUntouched) {
  std::array<std::int32_t, 1> words{0x01020304};
  SwapIntBytes(words.data(), 0);
  SwapIntBytes(words.data(), -3);
  SwapIntBytes(nullptr, 0);
  EXPECT_EQ(words[0], 0x01020304);
}

}  // namespace
}  // namespace quel
