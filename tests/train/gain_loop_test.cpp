// The encoder with the trainer's quantiser in the place of its own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/signals.h"
#include "train/gain_trainer.h"
#include "train/installed.h"

namespace quel::train {
namespace {

std::vector<Recording> speech() {
  return {{"synthetic", test::speech_like_pcm(16000, 6)}};
}

TEST(GainLoop, GivesASamplePerSubframeOfEveryFlavor) {
  const auto samples = collect_gain_samples(installed_gains(), speech());
  const std::size_t all = 2 * (16000 / 144 * 3) + 16000 / 240 * 5;
  EXPECT_LE(samples.size(), all);
  EXPECT_GT(samples.size(), all / 2);
  for (const auto& sample : samples) {
    ASSERT_GT(sample.gcode0, 0.0f);
    ASSERT_GE(sample.gain_pit, 0.0f);
    ASSERT_LE(sample.gain_pit, sample.crowded ? 0.95f : 1.2f);
  }
}

TEST(GainLoop, TheTableUnderTrainingIsTheOneInTheLoop) {
  // Other corrections lead to other predictions of the subframes after.
  GainTable loud = installed_gains();
  for (auto& row : loud) row[1] *= 2.0f;
  const auto samples = collect_gain_samples(installed_gains(), speech());
  const auto others = collect_gain_samples(loud, speech());
  const auto differs = [](const GainSample& a, const GainSample& b) {
    return a.gcode0 != b.gcode0;
  };
  const std::size_t n = std::min(samples.size(), others.size());
  std::size_t different = 0;
  for (std::size_t i = 0; i < n; ++i) different += differs(samples[i], others[i]) ? 1 : 0;
  EXPECT_GT(different, n / 2);
}

TEST(GainLoop, TrainedInTheLoopLosesLessThanTheGivenRowsAlone) {
  const auto recordings = speech();
  Random random(1);
  GainTable table = given_gain_rows();
  const double before = measure_gain(table, collect_gain_samples(table, recordings)).lost;
  for (int round = 0; round < 2; ++round) {
    const auto samples = collect_gain_samples(table, recordings);
    if (round == 0) seed_gain_table(table, samples, random);
    train_gain_table(table, samples, 6, random);
  }
  EXPECT_LT(measure_gain(table, collect_gain_samples(table, recordings)).lost, before);
}

}  // namespace
}  // namespace quel::train
