#include "narrowband/conceal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>

#include "narrowband/gain_tables.h"
#include "narrowband/isf_tables.h"
#include "support/signals.h"

namespace quel::narrowband {
namespace {

using ::testing::Each;
using ::testing::FloatNear;
using ::testing::Pointwise;

constexpr float zeros[4][12] = {};

ExcitationPast some_past() {
  ExcitationPast past;
  remember(past, 120, 0.5f, 40.0f);
  remember(past, 126, 0.7f, 38.0f);
  remember(past, 132, 0.9f, 36.0f);
  return past;
}

// dB; its first correction is so low that nothing seems to get louder.
FrameClues some_clues() {
  FrameClues clues{};
  clues.correction = {-10.0f, 2.0f, 3.0f};
  clues.pitch_gain = 0.8f;
  return clues;
}

constexpr std::array<float, 4> energies_before = {1.0f, -2.0f, -3.0f, 4.0f};

TEST(Conceal, EnergiesAreTheWeightedFeaturesLessOne) {
  // Every feature alone, each time at another place.
  const double features[12] = {1, 36, 38, 40, 1, -2, -3, -10, 2, 3, 0.9, 0.8};
  for (int i = 0; i < 12; i += 4) {
    float weights[4][12] = {};
    for (int j = 0; j < 4; ++j) weights[j][i + j] = 0.25f;
    const auto energies =
        estimate_energies({weights, nullptr}, some_past(), energies_before, some_clues());
    for (int j = 0; j < 4; ++j) {
      EXPECT_FLOAT_EQ(energies[static_cast<std::size_t>(j)],
                      static_cast<float>(0.25 * features[i + j] - 1.0))
          << i + j;
    }
  }
}

TEST(Conceal, EnergiesStayInsideTheGainTable) {
  float least = 1000.0f, most = -1000.0f;
  for (int index = 0; index < nb_qua_gain; ++index) {
    least = std::min(least, gain_row(index).correction);
    most = std::max(most, gain_row(index).correction);
  }
  float weights[4][12] = {{100.0f}, {-100.0f}, {100.0f}, {-100.0f}};
  ExcitationPast loud;
  for (int k = 0; k < 3; ++k) remember(loud, 120, 0.5f, 200.0f);  // nothing gets louder than that
  const auto energies = estimate_energies({weights, nullptr}, loud, energies_before, some_clues());
  EXPECT_EQ(energies, (std::array<float, 4>{most, least, most, least}));
}

// Each dB more than eight that the code rises takes 0.7 dB from what the gain is predicted from.
TEST(Conceal, ASuddenRiseIsBelievedInPart) {
  ExcitationPast quiet;
  for (int k = 0; k < 3; ++k) remember(quiet, 120, 0.5f, 10.0f);
  FrameClues clues{};
  const double prediction = 0.691 + 0.504 + 0.334 + 0.2;
  const double level = 34.0 - prediction;  // of a first correction of 0 behind energies of -1
  for (const double rise : {7.9, 12.0}) {
    clues.correction[0] = static_cast<float>(10.0 + rise - level);
    clues.correction[1] = clues.correction[2] = -18.0f;
    const auto energies = estimate_energies({zeros, nullptr}, quiet, energies_before, clues);
    const double doubt = 0.7 * std::max(rise - 8.0, 0.0) / prediction;
    EXPECT_THAT(energies, Each(FloatNear(static_cast<float>(-1.0 - doubt), 1e-5f))) << rise;
  }
  // The rise may come with the third subframe.
  clues.correction = {-18.0f, -18.0f, 18.0f};
  EXPECT_LT(estimate_energies({zeros, nullptr}, quiet, energies_before, clues)[0], -1.0f);
}

TEST(Conceal, TheResidualIsWeightedFromBothSidesOfTheLoss) {
  IsfDequantizer isf;
  init_d_isf_ma(isf);
  FrameClues clues{};
  for (std::size_t i = 0; i < 10; ++i) {
    isf.past_isf[i] = mean_isf[i] + static_cast<float>(10 * i);
    isf.past_r[i] = static_cast<float>(i) - 5.0f;
    clues.residual[i] = 20.0f - static_cast<float>(i);
  }
  const float weights[3] = {0.5f, -0.25f, 2.0f};
  const auto residual = estimate_residual({nullptr, weights}, isf, clues);
  for (std::size_t i = 0; i < 10; ++i) {
    const double x = static_cast<double>(i);
    // The deviation has been rounded at up to 4 kHz.
    EXPECT_NEAR(residual[i], 0.5 * 10 * x - 0.25 * (x - 5) + 2 * (20 - x), 2e-4) << i;
  }
}

TEST(Conceal, TheResidualStaysInsideTheCodebooks) {
  std::array<float, 10> least, most, row{};
  least.fill(1e9f);
  most.fill(-1e9f);
  for (std::int32_t index = 0; index < 128; ++index) {
    const std::int32_t indices[5] = {index, index, index, index, index};
    isf_residual(indices, row.data());
    for (std::size_t i = 0; i < 10; ++i) {
      least[i] = std::min(least[i], row[i]);
      most[i] = std::max(most[i], row[i]);
    }
  }
  std::array<float, 10> far;
  far.fill(1e6f);
  hold_residual(far.data());
  EXPECT_EQ(far, most);
  far.fill(-1e6f);
  hold_residual(far.data());
  EXPECT_EQ(far, least);
  hold_residual(row.data());
  EXPECT_THAT(row, Pointwise(::testing::Le(), most));
}

// The gain that a code gets makes it this loud, but for the hundredth that the predictor adds to
// the energy of the code.
TEST(Conceal, TheCodesLevelFollowsFromTheCorrections) {
  GainDequantizer gains;
  init_d_gain2(gains);
  test::Random random(3);
  for (int k = 0; k < 200; ++k) {
    const auto code = test::noise(48, static_cast<std::uint64_t>(k), 3.0);
    const auto before = gains.past_qua_en;
    float gain_pit = 0.0f, gain_code = 0.0f;
    d_gain2(gains, random.integer(0, 127), code.data(), 48, &gain_pit, &gain_code, 0, 0, 0.25f);
    const double energy = gain_code * test::dot(code, code) * gain_code / 48.0;
    EXPECT_NEAR(code_level(before, gains.past_qua_en[0]), 10.0 * std::log10(energy), 1e-3);
  }
}

TEST(Conceal, CluesAreTheNewFramesOwn) {
  const std::int32_t indices[5] = {3, 100, 7, 90, 31};
  const FrameClues clues = clues_of(indices, {5, 100, 127});
  std::array<float, 10> residual;
  isf_residual(indices, residual.data());
  EXPECT_EQ(clues.residual, residual);
  EXPECT_EQ(clues.pitch_gain, gain_row(5).pitch_gain);
  EXPECT_EQ(clues.correction,
            (std::array<float, 3>{gain_row(5).correction, gain_row(100).correction,
                                  gain_row(127).correction}));
}

// Of a past 40 dB louder than the code no more than 15 dB may be left in a subframe that is
// watched.
TEST(Conceal, WatchedSubframesHaveTheirPitchGainCappedAndOthersNot) {
  NarrowbandConcealment state;
  state.watched = 2;
  GainDequantizer gains;
  gains.last_gain_pit = 1.0f;
  gains.last_gain_code = 1.0f;
  const auto code = test::noise(48, 1, 10.0);
  auto adaptive = code;
  for (float& v : adaptive) v *= 100.0f;
  const auto take = [&] {
    return take_subframe(state, gains, energies_before, 120, adaptive.data(), code.data());
  };
  const float capped = std::pow(10.0f, -25.0f / 20.0f);
  EXPECT_NEAR(take(), capped, 1e-5);
  EXPECT_NEAR(take(), capped, 1e-5);
  EXPECT_EQ(take(), 1.0f);
  EXPECT_EQ(state.watched, 0);
  EXPECT_EQ(state.past.pitch_gain[0], 1.0f);
  EXPECT_NEAR(state.past.pitch_gain[2], capped, 1e-5);
  EXPECT_EQ(state.past.lag[2], 120);
  EXPECT_EQ(state.past.code_energy[2], code_level(energies_before, gains.past_qua_en[0]));
}

constexpr float energy_swt[][12] = {
#include "narrowband/conceal_energy_swt.inc"
};
constexpr float energy_5k[][12] = {
#include "narrowband/conceal_energy_5k.inc"
};
constexpr float isf_swt[][3] = {
#include "narrowband/conceal_isf_swt.inc"
};
constexpr float isf_5k[][3] = {
#include "narrowband/conceal_isf_5k.inc"
};
constexpr FallWeights fall_swt[] = {
#include "narrowband/conceal_fall_swt.inc"
};
constexpr FallWeights fall_5k[] = {
#include "narrowband/conceal_fall_5k.inc"
};

template <std::size_t rows, std::size_t width>
void expect_within(const float (&weights)[rows][width], float constant, float others) {
  for (const auto& row : weights) {
    for (std::size_t i = 0; i < width; ++i) {
      EXPECT_TRUE(std::isfinite(row[i]));
      EXPECT_LE(std::abs(row[i]), i == 0 ? constant : others) << i;
    }
  }
}

// A level of 30 dB moves an estimate by no more than that, times the few features of levels.
TEST(Conceal, TheTrainedWeightsAreFiniteAndOfTheSizeOfTheirTask) {
  EXPECT_EQ(std::size(energy_swt), 8u);
  EXPECT_EQ(std::size(energy_5k), 8u);
  expect_within(energy_swt, 40.0f, 2.0f);
  expect_within(energy_5k, 40.0f, 2.0f);
  expect_within(isf_swt, 2.0f, 2.0f);
  expect_within(isf_5k, 2.0f, 2.0f);
  EXPECT_EQ(std::size(fall_swt), 6u);
  EXPECT_EQ(std::size(fall_5k), 10u);
  expect_within(fall_swt, 20.0f, 8.0f);
  expect_within(fall_5k, 20.0f, 8.0f);
}

// Three subframes were lost with a frame of flavors 0 and 1, so the fourth energy is known.
TEST(Conceal, TheFourthEnergyBehindOneLostFrameIsTheLastThatWasHeard) {
  for (std::size_t i = 0; i < 12; ++i) {
    EXPECT_NEAR(energy_swt[3][i], i == 4 ? 1.0f : 0.0f, 1e-3f) << i;
  }
}

}  // namespace
}  // namespace quel::narrowband
