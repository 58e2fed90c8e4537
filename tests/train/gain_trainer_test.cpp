#include "train/gain_trainer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "narrowband/q_gain2.h"
#include "support/signals.h"
#include "train/installed.h"

namespace quel::train {
namespace {

// The terms of a subframe whose best gains are p and gamma times the predicted code gain.
GainSample sample_with(double p, double gamma, double gcode0, test::Random& random) {
  const double yy = random.uniform(1e4, 1e6);
  const double zz = random.uniform(1.0, 3.0);
  const double yz = random.uniform(-0.3, 0.3) * std::sqrt(yy * zz);
  const double c = gamma * gcode0;
  GainSample sample;
  sample.g = {static_cast<float>(yy), static_cast<float>(-2.0 * (p * yy + c * yz)),
              static_cast<float>(zz), static_cast<float>(-2.0 * (c * zz + p * yz)),
              static_cast<float>(2.0 * yz)};
  sample.gcode0 = static_cast<float>(gcode0);
  sample.gain_pit = static_cast<float>(std::clamp(p, 0.0, 1.2));
  return sample;
}

std::vector<GainSample> samples_around_speech(int n, unsigned seed) {
  test::Random random(seed);
  std::vector<GainSample> samples;
  for (int i = 0; i < n; ++i) {
    samples.push_back(sample_with(random.uniform(0.0, 1.3), std::exp(0.5 * random.gauss()),
                                  random.uniform(50.0, 500.0), random));
  }
  return samples;
}

void expect_legal(const GainTable& table) {
  const GainTable fresh = given_gain_rows();
  for (std::size_t j = 0; j < table.size(); ++j) {
    if (gain_row_is_given(static_cast<int>(j))) {
      EXPECT_EQ(table[j], fresh[j]) << j;
    }
    if (j > 0) {
      EXPECT_LT(table[j - 1][0], table[j][0]) << j;
    }
    EXPECT_GE(table[j][1], 0.05f) << j;
    EXPECT_LE(table[j][1], 8.0f) << j;
  }
}

TEST(GainTrainer, ChoosesAsTheQuantizerDoes) {
  const GainTable table = installed_gains();
  std::vector<float> code(48);
  code[5] = 1.0f;
  code[20] = -1.0f;
  test::Random random(1);
  for (int i = 0; i < 2000; ++i) {
    GainQuantizer state;
    for (float& energy : state.past_qua_en) energy = static_cast<float>(random.uniform(-20, 10));
    const float gcode0 = narrowband::predict_code_gain(state.past_qua_en, code.data(), 48);
    GainSample sample =
        sample_with(random.uniform(0.0, 1.3), random.uniform(0.1, 3.0), gcode0, random);
    sample.crowded = i % 3 == 0;
    float gain_pit = sample.gain_pit;
    float gain_code = 0.0f;
    const int index = q_gain2(state, code.data(), 48, &gain_pit, &gain_code, sample.g.data(),
                              sample.crowded ? 1 : 0);
    ASSERT_EQ(choose_gain_row(table, sample), index) << i;
  }
}

TEST(GainTrainer, DistortionIsLeastAtTheSamplesOwnGains) {
  test::Random random(2);
  for (int i = 0; i < 200; ++i) {
    const double p = random.uniform(0.1, 1.2);
    const double gamma = random.uniform(0.2, 3.0);
    const GainSample sample = sample_with(p, gamma, 200.0, random);
    const auto at = [&](double dp, double dy) {
      return gain_distortion(sample, {static_cast<float>(p + dp), static_cast<float>(gamma + dy)});
    };
    for (const double step : {-0.1, 0.1}) {
      EXPECT_LT(at(0.0, 0.0), at(step, 0.0));
      EXPECT_LT(at(0.0, 0.0), at(0.0, step));
    }
  }
}

TEST(GainTrainer, TrainingLosesLessAndKeepsWhatIsGiven) {
  const auto samples = samples_around_speech(4000, 3);
  Random random(1);
  GainTable table = given_gain_rows();
  expect_legal(table);
  const double before = measure_gain(table, samples).lost;
  seed_gain_table(table, samples, random);
  expect_legal(table);
  train_gain_table(table, samples, 8, random);
  expect_legal(table);
  EXPECT_LT(measure_gain(table, samples).lost, 0.5 * before);
}

TEST(GainTrainer, CorrectionsReachFarEnoughForOnsets) {
  // Half of the samples ask for six times the predicted code gain, as onsets do.
  test::Random speech(4);
  std::vector<GainSample> samples;
  for (int i = 0; i < 4000; ++i) {
    samples.push_back(sample_with(speech.uniform(0.0, 1.3), i % 2 == 0 ? 6.0 : 1.0, 100.0, speech));
  }
  Random random(1);
  GainTable table = given_gain_rows();
  seed_gain_table(table, samples, random);
  train_gain_table(table, samples, 8, random);
  EXPECT_LT(measure_gain(table, samples).lost, 0.02);  // a bound of 4 leaves (2/6)^2 of each
}

TEST(GainTrainer, CountsRowsAtTheGreatestCorrectionAndRowsUnused) {
  GainTable table = given_gain_rows();
  EXPECT_EQ(rows_at_greatest(table), 1);  // one of the given rows
  table[40][1] = 8.0f;
  table[41][1] = 8.0f;
  EXPECT_EQ(rows_at_greatest(table), 2);
  EXPECT_EQ(unused_rows(table, {}), 128);
  EXPECT_EQ(unused_rows(table, samples_around_speech(1, 1)), 127);
}

TEST(GainTrainer, NoSamplesLeaveALegalTable) {
  Random random(1);
  GainTable table = given_gain_rows();
  seed_gain_table(table, {}, random);
  train_gain_table(table, {}, 3, random);
  expect_legal(table);
  EXPECT_EQ(measure_gain(table, {}).samples, 0);
}

}  // namespace
}  // namespace quel::train
