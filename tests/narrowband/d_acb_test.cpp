#include "narrowband/d_acb.h"

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
using Decoder = void (*)(const std::int32_t*, const float*, float*);

Vector decode(Decoder decoder, std::int32_t w0, std::int32_t w1, std::int32_t w2,
              const float* filt = acb_delta) {
  const std::int32_t index[3] = {w0, w1, w2};
  Vector out(48, 99.0f);  // what was there before must not remain
  decoder(index, filt, out.data());
  return out;
}

TEST(DecAcb15, PlacesOneSignedPulsePerTrack) {
  EXPECT_EQ(decode(dec_ACB_15, 0, 0, 0), pulses({{0, 1}, {1, 1}, {2, 1}}));
  EXPECT_EQ(decode(dec_ACB_15, 15, 16 + 15, 16 + 7), pulses({{45, 1}, {46, -1}, {23, -1}}));
}

TEST(DecAcb15, EveryWordOfEveryTrack) {
  for (int track = 0; track < 3; ++track) {
    for (std::int32_t word = 0; word < 32; ++word) {
      std::int32_t index[3] = {3, 3, 3};
      index[track] = word;
      Vector expected = pulses({{9, 1}, {10, 1}, {11, 1}});
      expected[static_cast<std::size_t>(9 + track)] = 0;
      expected[static_cast<std::size_t>(3 * (word % 16) + track)] += word < 16 ? 1.0f : -1.0f;
      EXPECT_EQ(decode(dec_ACB_15, index[0], index[1], index[2]), expected) << track << ' ' << word;
    }
  }
}

TEST(DecAcb27, SecondPulseHasTheSignThatTheOrderSays) {
  // Equal signs: first index not above the second.
  EXPECT_EQ(decode(dec_ACB_27, 0x2f, 0x134, 0x00),
            pulses({{6, 1}, {45, 1}, {10, -1}, {13, -1}, {2, 2}}));
  // Different signs: the larger index first, with its own sign.
  EXPECT_EQ(decode(dec_ACB_27, 0xf2, 0x143, 0x110),
            pulses({{45, 1}, {6, -1}, {13, -1}, {10, 1}, {5, -1}, {2, 1}}));
}

TEST(DecAcb27, EqualIndicesGiveOnePulseOfDoubleAmplitude) {
  for (int j = 0; j < 16; ++j) {
    EXPECT_EQ(decode(dec_ACB_27, 17 * j, 256 + 17 * j, 17 * j),
              pulses({{3 * j, 2}, {3 * j + 1, -2}, {3 * j + 2, 2}}));
  }
}

TEST(DecAcb27, EveryWordOfATrackGivesAnotherVector) {
  std::vector<Vector> all;
  for (std::int32_t word = 0; word < 512; ++word) all.push_back(decode(dec_ACB_27, word, 0, 0));
  std::sort(all.begin(), all.end());
  EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end());
}

TEST(DecAcb, PulseAt47ContributesOneSampleAndPulseAt0TheWholeFilter) {
  const Vector filt = test::noise(48, 1);
  const Vector zero(48);
  // Tracks 0 and 1 far right, so that nothing else reaches the samples looked at.
  Vector out = decode(dec_ACB_15, 15, 15, 15, filt.data());
  EXPECT_EQ(out[45], filt[0]);
  EXPECT_EQ(out[46], filt[1] + filt[0]);
  EXPECT_EQ(out[47], filt[2] + filt[1] + filt[0]);
  EXPECT_TRUE(std::equal(out.begin(), out.begin() + 45, zero.begin()));
  out = decode(dec_ACB_15, 0, 15, 16 + 15, filt.data());
  EXPECT_TRUE(std::equal(out.begin(), out.begin() + 46, filt.begin()));
  EXPECT_EQ(out[46], filt[46] + filt[0]);
  EXPECT_EQ(out[47], filt[47] + filt[1] - filt[0]);
  out = decode(dec_ACB_27, 0x0f, 0xff, 0x1ff, filt.data());
  EXPECT_TRUE(std::equal(out.begin(), out.begin() + 45, filt.begin()));
  EXPECT_EQ(out[47], filt[47] + filt[2] + filt[1] + filt[1] - filt[0] - filt[0]);
}

TEST(DecAcb, FilteredVectorIsTheConvolvedPulseVector) {
  test::Random random(5);
  for (unsigned seed = 0; seed < 50; ++seed) {
    const auto s = test::acb_subframe(seed);
    for (const Decoder decoder : {Decoder{dec_ACB_15}, Decoder{dec_ACB_27}}) {
      std::int32_t index[3];
      for (std::int32_t& word : index) word = random.integer(0, 511);
      const Vector code = decode(decoder, index[0], index[1], index[2]);
      Vector filtered(48);
      convolve(code.data(), s.h, filtered.data(), 48);
      // Six terms of size near 1 summed in float there and in double here.
      EXPECT_THAT(decode(decoder, index[0], index[1], index[2], s.h),
                  ::testing::Pointwise(::testing::FloatNear(1e-5f), filtered));
    }
  }
}

TEST(DecAcb, BitsAboveTheFieldAreIgnored) {
  test::Random random(6);
  const Vector filt = test::noise(48, 2);
  for (int i = 0; i < 200; ++i) {
    std::int32_t w[3];
    for (std::int32_t& word : w) word = static_cast<std::int32_t>(random.bits());
    EXPECT_EQ(decode(dec_ACB_15, w[0], w[1], w[2], filt.data()),
              decode(dec_ACB_15, w[0] & 31, w[1] & 31, w[2] & 31, filt.data()));
    EXPECT_EQ(decode(dec_ACB_27, w[0], w[1], w[2], filt.data()),
              decode(dec_ACB_27, w[0] & 511, w[1] & 511, w[2] & 511, filt.data()));
  }
  EXPECT_EQ(decode(dec_ACB_15, -1, INT32_MIN, INT32_MAX), decode(dec_ACB_15, 31, 0, 31));
  EXPECT_EQ(decode(dec_ACB_27, -1, INT32_MIN, INT32_MAX), decode(dec_ACB_27, 511, 0, 511));
}

}  // namespace
}  // namespace quel
