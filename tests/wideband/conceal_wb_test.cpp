#include "wideband/conceal_wb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <vector>

#include "support/signals.h"
#include "wideband/cod_wb.h"
#include "wideband/dec_wb_support.h"
#include "wideband/gain_tables16.h"
#include "wideband/lsf_tables.h"

namespace quel {
namespace {

using test::finite_state;
using test::same_state;
using test::Words;
using ::testing::Each;

using Pcm = std::vector<std::int16_t>;

std::vector<Words> encode(const Pcm& pcm) {
  WidebandEncoder encoder;
  init_coder_wb16(encoder);
  std::vector<Words> frames(pcm.size() / 160);
  for (std::size_t k = 0; k < frames.size(); ++k) {
    std::copy_n(&pcm[160 * k], 160, new_speech2(encoder));
    coder_wb16(encoder, frames[k].data() + 1);
  }
  return frames;
}

struct Decoder {
  WidebandDecoder own;
  WidebandConcealment concealment;

  Pcm frame(const Words& prm) {
    Pcm out(160);
    meet_wb(concealment, own, prm.data());
    decod_wb(own, prm.data(), out.data(), 0, 0, &concealment);
    return out;
  }
  Pcm lost() {
    Pcm out(160);
    conceal_wb(concealment, own, out.data());
    return out;
  }
};

Decoder behind(const std::vector<Words>& frames, std::size_t count) {
  Decoder d;
  for (std::size_t k = 0; k < count; ++k) d.frame(frames[k]);
  return d;
}

// Pulses 120 samples apart through a resonance.
Pcm vowel(int n) {
  Pcm pcm;
  double y1 = 0.0, y2 = 0.0;
  for (int i = 0; i < n; ++i) {
    const double y = (i % 120 == 0 ? 3000.0 : 0.0) + 1.7 * y1 - 0.85 * y2;
    y2 = y1;
    y1 = y;
    pcm.push_back(static_cast<std::int16_t>(y));
  }
  return pcm;
}

double energy(const Pcm& x) {
  double sum = 0.0;
  for (const std::int16_t v : x) sum += static_cast<double>(v) * v;
  return sum;
}

TEST(ConcealWb, WithoutALossNothingIsTouched) {
  Decoder d;
  WidebandDecoder plain;
  for (const Words& prm : encode(test::speech_like_pcm(160 * 100, 3, 16000.0))) {
    Pcm expected(160);
    decod_wb(plain, prm.data(), expected.data());
    ASSERT_EQ(d.frame(prm), expected);
  }
  EXPECT_TRUE(same_state(d.own, plain));
}

TEST(ConcealWb, AVoicedPastGoesOnWithoutNoiseAndAHissWithIt) {
  Decoder voiced = behind(encode(vowel(160 * 30)), 30);
  voiced.lost();
  EXPECT_EQ(voiced.concealment.fill.voiced, 1);
  EXPECT_EQ(voiced.own.random, 1u);
  EXPECT_NEAR(voiced.own.lag.old_T0, 120, 1);
  Pcm hiss;
  for (const float v : test::noise(160 * 30, 5, 800.0))
    hiss.push_back(static_cast<std::int16_t>(v));
  Decoder unvoiced = behind(encode(hiss), 30);
  const auto& levels = unvoiced.concealment.past.code_energy;
  const float mean = 0.5f * (levels[0] + levels[1]);
  unvoiced.lost();
  EXPECT_EQ(unvoiced.concealment.fill.voiced, 0);
  EXPECT_NE(unvoiced.own.random, 1u);
  EXPECT_NEAR(unvoiced.concealment.fill.code_energy, mean - 6.0f, 1e-4);
}

TEST(ConcealWb, ThePredictorsStayAndTheSpectrumMovesToItsMean) {
  Decoder d = behind(encode(vowel(160 * 30)), 30);
  const WidebandDecoder before = d.own;
  std::array<float, 16> lsf;
  for (int k = 1; k <= 4; ++k) {
    d.lost();
    for (std::size_t i = 0; i < 16; ++i) {
      lsf[i] = mean_lsf[i] +
               static_cast<float>(std::pow(0.95, k)) * (before.lsf.past_lsf_q[i] - mean_lsf[i]);
    }
    lsf_to_lsp(lsf.data(), 80.0f, lsf.data());
    for (std::size_t i = 0; i < 16; ++i) EXPECT_NEAR(d.own.old_lsp[i], lsf[i], 1e-5);
  }
  EXPECT_EQ(d.own.lsf.past_lsf_q, before.lsf.past_lsf_q);
  EXPECT_EQ(d.own.lsf.past_q_target, before.lsf.past_q_target);
  EXPECT_EQ(d.own.gains.past_qua_en, before.gains.past_qua_en);
}

TEST(ConcealWb, ALongLossKeepsItsLevelFirstAndIsSilentBefore160Milliseconds) {
  const auto frames = encode(vowel(160 * 30));
  Decoder d = behind(frames, 29);
  const double before = energy(d.frame(frames[29]));
  const double first = energy(d.lost());
  EXPECT_GT(first, 0.3 * before);
  EXPECT_LT(first, 1.2 * before);  // the pulses' places differ from frame to frame
  for (int k = 1; k < 12; ++k) d.lost();
  EXPECT_LT(energy(d.lost()), 1e-3 * before);
  for (int k = 0; k < 3; ++k) d.lost();
  for (int k = 0; k < 500; ++k) EXPECT_THAT(d.lost(), Each(0));
}

TEST(ConcealWb, MeetingAFrameTwiceIsMeetingItOnce) {
  const auto frames = encode(vowel(160 * 30));
  Decoder once = behind(frames, 20);
  once.lost();
  Decoder twice = once;
  meet_wb(twice.concealment, twice.own, frames[21].data());
  EXPECT_EQ(twice.frame(frames[21]), once.frame(frames[21]));
  EXPECT_TRUE(same_state(twice.own, once.own));
}

// What is estimated, from the weights as they stand.
constexpr float energy_weights[][11] = {
#include "wideband/conceal_energy_wb.inc"
};
constexpr float lsf_weights[][3] = {
#include "wideband/conceal_lsf_wb.inc"
};
constexpr FallWeights fall_weights[] = {
#include "wideband/conceal_fall_wb.inc"
};

TEST(ConcealWb, BehindALossTheMemoriesAreTheWeightedFeatures) {
  const auto frames = encode(vowel(160 * 40));
  for (const int lost : {1, 2, 3}) {
    Decoder d = behind(frames, 30);
    const WidebandDecoder before = d.own;
    const ExcitationPast past = d.concealment.past;
    // The vowel is steady: the correction before those that the decoder remembers.
    const float third = wideband::code_gain_db(frames[28][22]);
    for (int k = 0; k < lost; ++k) d.lost();
    Words prm = frames[30 + static_cast<std::size_t>(lost)];
    prm[14] = prm[22] = 4;  // -12.5 dB, so that nothing seems to get louder
    meet_wb(d.concealment, d.own, prm.data());
    const std::size_t kind = lost == 1 ? 0 : 1;
    const double features[11] = {1.0,
                                 past.code_energy[0],
                                 past.code_energy[1],
                                 past.code_energy[2],
                                 before.gains.past_qua_en[0],
                                 before.gains.past_qua_en[1],
                                 third,
                                 wideband::code_gain_db(prm[14]),
                                 wideband::code_gain_db(prm[22]),
                                 past.pitch_gain[0],
                                 wideband::qua_gain_pitch[static_cast<std::size_t>(prm[8])]};
    std::array<float, 2> energies;
    for (std::size_t j = 0; j < 2; ++j) {
      double sum = -2.0;  // too quiet is better than too loud
      for (std::size_t i = 0; i < 11; ++i) sum += energy_weights[2 * kind + j][i] * features[i];
      energies[j] = static_cast<float>(sum);
    }
    EXPECT_LT(wideband::code_level(energies, wideband::code_gain_db(prm[14])) -
                  std::max(past.code_energy[0], past.code_energy[1]),
              4.0f);  // no rise of which to doubt
    EXPECT_NEAR(d.own.gains.past_qua_en[0], energies[0], 1e-4);
    EXPECT_NEAR(d.own.gains.past_qua_en[1], energies[1], 1e-4);
    std::array<float, 16> next, isolated;
    lsf_residual(prm.data() + 1, next.data());
    for (std::size_t i = 0; i < 16; ++i) {
      const float deviation = before.lsf.past_lsf_q[i] - mean_lsf[i];
      const auto weighted = [&](const float(&w)[3]) {
        return w[0] * deviation + w[1] * before.lsf.past_q_target[i] + w[2] * next[i];
      };
      isolated[i] = weighted(lsf_weights[2 * kind]);
    }
    hold_lsf_residual(isolated.data());
    for (std::size_t i = 0; i < 16; ++i) {
      EXPECT_NEAR(d.own.lsf.past_q_target[i], isolated[i], 1e-2) << i;
    }
    EXPECT_EQ(d.concealment.watched, 6);
    EXPECT_EQ(d.concealment.first_good, 1);
  }
}

// Behind a jump of 16 dB and more the old spectrum counts for nothing.
TEST(ConcealWb, BehindAnOnsetTheSpectrumBeforeIsForgotten) {
  auto frames = encode(vowel(160 * 40));
  Pcm faint = vowel(160 * 40);
  for (std::int16_t& v : faint) v = static_cast<std::int16_t>(v / 300);
  Decoder d = behind(encode(faint), 30);
  d.lost();
  frames[31][14] = frames[31][22] = 31;  // the largest corrections
  meet_wb(d.concealment, d.own, frames[31].data());
  EXPECT_THAT(d.own.lsf.past_q_target, Each(0.0f));
}

TEST(ConcealWb, TheTrainedWeightsAreFiniteAndOfTheSizeOfTheirTask) {
  ASSERT_EQ(std::size(energy_weights), 4u);
  ASSERT_EQ(std::size(lsf_weights), 4u);
  ASSERT_EQ(std::size(fall_weights), 8u);
  for (const auto& row : energy_weights) {
    for (const float& weight : row) EXPECT_LE(std::abs(weight), &weight == row ? 60.0f : 3.0f);
  }
  for (const auto& row : lsf_weights) {
    for (const float& weight : row) EXPECT_LE(std::abs(weight), 2.0f);
  }
  for (const auto& row : fall_weights) {
    for (const float& weight : row) EXPECT_LE(std::abs(weight), &weight == row ? 20.0f : 8.0f);
  }
}

TEST(ConcealWb, WhateverWasHeardEveryMemoryStaysANumber) {
  test::Random random(11);
  Decoder d;
  for (int k = 0; k < 6000; ++k) {
    Words prm{};
    for (std::size_t i = 1; i < prm.size(); ++i) prm[i] = static_cast<std::int32_t>(random.bits());
    if (k > 0 && random.integer(0, 2) == 0) {
      d.lost();
    } else {
      d.frame(prm);
    }
    ASSERT_TRUE(finite_state(d.own)) << k;
    // As far apart as received frequencies: no filter is unstable.
    ASSERT_TRUE(std::is_sorted(d.own.old_lsp.rbegin(), d.own.old_lsp.rend())) << k;
    for (const float v : d.concealment.ceiling.level_of) ASSERT_TRUE(std::isfinite(v));
  }
}

}  // namespace
}  // namespace quel
