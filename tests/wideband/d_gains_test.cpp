#include "wideband/d_gains.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "support/signals.h"
#include "wideband/gain_tables16.h"
#include "wideband/q_gains.h"

namespace quel {
namespace {

using test::Random;

/// [0..79] ten random pulses.
std::vector<float> pulses(Random& random) {
  std::vector<float> code(80);
  for (int k = 0; k < 10; ++k) {
    code[static_cast<std::size_t>(random.integer(0, 79))] += random.bits() & 1 ? 1.0f : -1.0f;
  }
  return code;
}

float code_gain(GainDequantizer16& state, int index, const std::vector<float>& code, int bfi) {
  float gain = -1.0f;
  d_gain_code(state, index, code.data(), static_cast<int>(code.size()), &gain, bfi);
  return gain;
}

TEST(DGainPitch, TopGainIsReturnedWholeButRememberedAsOne) {
  GainDequantizer16 state;
  EXPECT_EQ(d_gain_pitch(state, 15, 0), 1.2f);
  EXPECT_EQ(state.past_gain_pit, 1.0f);
  EXPECT_EQ(d_gain_pitch(state, 15, 1), 0.95f);
  EXPECT_EQ(state.past_gain_pit, 0.95f);
}

TEST(DGainPitch, DecodesTheTableAndDecaysFromIt) {
  for (int index = 0; index < 16; ++index) {
    GainDequantizer16 state;
    const float row = wideband::qua_gain_pitch[static_cast<std::size_t>(index)];
    EXPECT_EQ(d_gain_pitch(state, index, 0), row);
    float expected = row > 1.0f ? 1.0f : row;
    EXPECT_EQ(state.past_gain_pit, expected);
    for (int lost = 0; lost < 50; ++lost) {
      expected = static_cast<float>(0.95 * expected);
      EXPECT_EQ(d_gain_pitch(state, 0, 1), expected);
    }
  }
}

TEST(DGainPitch, LostAtLoadIsSilent) {
  GainDequantizer16 state;
  EXPECT_EQ(d_gain_pitch(state, 9, 1), 0.0);
}

TEST(DGains, IndicesBeyondTheirFieldsAreCut) {
  Random random(1);
  const auto code = pulses(random);
  for (const int index : {-1, 16, 31, 32, 1 << 20, INT32_MIN, INT32_MAX}) {
    GainDequantizer16 wide, cut;
    EXPECT_EQ(d_gain_pitch(wide, index, 0), d_gain_pitch(cut, index & 15, 0));
    EXPECT_EQ(code_gain(wide, index, code, 0), code_gain(cut, index & 31, code, 0));
  }
}

TEST(DGainCode, FollowsTheEncoderBitForBit) {
  Random random(2);
  CodeGainQuantizer encoder;
  GainDequantizer16 decoder;
  for (int subframe = 0; subframe < 3000; ++subframe) {
    const auto code = pulses(random);
    auto gain = static_cast<float>(std::exp(random.uniform(-2, 8)));
    const int index = q_gain_code(encoder, code.data(), 80, &gain);
    ASSERT_EQ(code_gain(decoder, index, code, 0), gain);
    ASSERT_EQ(decoder.past_qua_en, encoder.past_qua_en);
    ASSERT_EQ(decoder.past_gain_code, gain);
  }
}

TEST(DGainCode, LostSubframesFallByAFifthAndDoNotReadTheCode) {
  Random random(3);
  const auto code = pulses(random);
  GainDequantizer16 state;
  float expected = code_gain(state, 20, code, 0);
  for (int lost = 0; lost < 60; ++lost) {
    expected = static_cast<float>(0.8 * expected);
    float gain = 0.0f;
    d_gain_code(state, 31, /*code=*/nullptr, 80, &gain, 1);
    EXPECT_EQ(gain, expected);
    EXPECT_EQ(state.past_gain_code, expected);
  }
}

TEST(DGainCode, LostEnergyIsTheAverageOfBothLessFour) {
  GainDequantizer16 state;
  state.past_qua_en = {10.0f, -2.0f};
  float gain = 0.0f;
  d_gain_code(state, 0, nullptr, 80, &gain, 1);
  EXPECT_EQ(state.past_qua_en, (std::array<float, 2>{0.0f, 10.0f}));
  d_gain_code(state, 0, nullptr, 80, &gain, 1);  // the entry rises here
  EXPECT_EQ(state.past_qua_en, (std::array<float, 2>{1.0f, 0.0f}));
  d_gain_code(state, 0, nullptr, 80, &gain, 1);
  EXPECT_EQ(state.past_qua_en, (std::array<float, 2>{-3.5f, 1.0f}));
}

TEST(DGainCode, FromAnyPairBothEnergiesReachMinus14Within15LostSubframes) {
  for (int a = -45; a <= 45; ++a) {
    for (int b = -45; b <= 45; ++b) {
      GainDequantizer16 state;
      state.past_qua_en = {0.5f * static_cast<float>(a), 0.5f * static_cast<float>(b)};
      float gain = 0.0f;
      for (int lost = 0; lost < 40; ++lost) {
        d_gain_code(state, 0, nullptr, 80, &gain, 1);
        ASSERT_GE(state.past_qua_en[0], -14.0f);
        if (lost < 14) continue;
        ASSERT_EQ(state.past_qua_en, (std::array<float, 2>{-14.0f, -14.0f})) << a << ' ' << b;
      }
    }
  }
}

TEST(DGainCode, AnyIndicesStayFinite) {
  Random random(4);
  GainDequantizer16 state;
  for (int subframe = 0; subframe < 20000; ++subframe) {
    const auto code = subframe % 7 == 0 ? std::vector<float>(80) : pulses(random);
    const int bfi = random.integer(0, 3) == 0 ? 1 : 0;
    const float gain = code_gain(state, subframe < 5000 ? 31 : random.integer(0, 31), code, bfi);
    ASSERT_TRUE(std::isfinite(gain));
    ASSERT_GE(gain, 0.0f);
    ASSERT_LE(std::fabs(state.past_qua_en[0]), 22.6f);  // the table's ends: -22.5 and 22.5 dB
  }
}

}  // namespace
}  // namespace quel
