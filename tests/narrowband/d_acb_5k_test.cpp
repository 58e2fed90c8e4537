#include "narrowband/d_acb_5k.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <vector>

#include "acb_subframe.h"

namespace quel {
namespace {

using test::acb_delta;
using test::pulses;
using Vector = std::vector<float>;
using Decoder = void (*)(std::int32_t, const float*, float*);

Vector decode(Decoder decoder, std::int32_t word, const float* filt = acb_delta) {
  Vector out(48, 99.0f);  // what was there before must not remain
  decoder(word, filt, out.data());
  return out;
}

TEST(DecAcb2p10b, PulsesStandOnAdjacentTracksWithOppositeSigns) {
  EXPECT_EQ(decode(dec_acb_2p10b, 0), pulses({{0, 1}, {1, -1}}));
  EXPECT_EQ(decode(dec_acb_2p10b, 512), pulses({{0, -1}, {1, 1}}));
  EXPECT_EQ(decode(dec_acb_2p10b, 256), pulses({{1, 1}, {2, -1}}));
  EXPECT_EQ(decode(dec_acb_2p10b, 0x3f2), pulses({{46, -1}, {8, 1}}));
  for (std::int32_t word = 0; word < 1024; ++word) {
    const int offset = word / 256 % 2;
    const float a = word < 512 ? 1.0f : -1.0f;
    EXPECT_EQ(decode(dec_acb_2p10b, word),
              pulses({{3 * (word / 16 % 16) + offset, a}, {3 * (word % 16) + offset + 1, -a}}));
  }
}

TEST(DecAcb2p10b, PulseBAt47ContributesOneSample) {
  const Vector filt = test::noise(48, 1);
  const Vector out = decode(dec_acb_2p10b, 256 + 15, filt.data());  // A at 1, B at 47
  EXPECT_EQ(out[0], 0.0f);
  EXPECT_TRUE(std::equal(out.begin() + 1, out.end() - 1, filt.begin()));
  EXPECT_EQ(out[47], filt[46] - filt[0]);
}

TEST(DecAcb3p10b, PulsesAlternateOnEvenPositions) {
  EXPECT_EQ(decode(dec_acb_3p10b, 0), pulses({{0, 1}, {2, -1}, {4, 1}}));
  EXPECT_EQ(decode(dec_acb_3p10b, 512), pulses({{0, -1}, {2, 1}, {4, -1}}));
  EXPECT_EQ(decode(dec_acb_3p10b, 511), pulses({{42, -1}, {44, 1}, {46, -1}}));
  EXPECT_EQ(decode(dec_acb_3p10b, 1 * 64 + 2 * 8 + 3), pulses({{6, -1}, {14, -1}, {22, -1}}));
}

TEST(DecAcb3p10b, EveryWordFollowsTheSignRule) {
  for (std::int32_t word = 0; word < 1024; ++word) {
    Vector expected(48);
    for (const int p : {6 * (word / 64 % 8), 6 * (word / 8 % 8) + 2, 6 * (word % 8) + 4}) {
      const bool positive = (p % 4 == 0) == (word < 512);
      expected[static_cast<std::size_t>(p)] = positive ? 1.0f : -1.0f;
    }
    EXPECT_EQ(decode(dec_acb_3p10b, word), expected) << word;
  }
}

TEST(DecAcb5k, FilteredVectorIsTheConvolvedPulseVector) {
  test::Random random(5);
  for (unsigned seed = 0; seed < 50; ++seed) {
    const auto s = test::acb_subframe(seed);
    const std::int32_t word = random.integer(0, 1023);
    for (const Decoder decoder : {Decoder{dec_acb_2p10b}, Decoder{dec_acb_3p10b}}) {
      const Vector code = decode(decoder, word);
      Vector filtered(48);
      convolve(code.data(), s.h, filtered.data(), 48);
      // Three terms of size near 1 summed in float there and in double here.
      EXPECT_THAT(decode(decoder, word, s.h),
                  ::testing::Pointwise(::testing::FloatNear(1e-5f), filtered));
    }
  }
}

TEST(DecAcb5k, BitsAboveTheFieldAreIgnored) {
  test::Random random(6);
  const Vector filt = test::noise(48, 2);
  for (const Decoder decoder : {Decoder{dec_acb_2p10b}, Decoder{dec_acb_3p10b}}) {
    for (int i = 0; i < 200; ++i) {
      const auto word = static_cast<std::int32_t>(random.bits());
      EXPECT_EQ(decode(decoder, word, filt.data()), decode(decoder, word & 1023, filt.data()));
    }
    EXPECT_EQ(decode(decoder, -1), decode(decoder, 1023));
    EXPECT_EQ(decode(decoder, INT32_MIN), decode(decoder, 0));
    EXPECT_EQ(decode(decoder, INT32_MAX), decode(decoder, 1023));
  }
}

}  // namespace
}  // namespace quel
