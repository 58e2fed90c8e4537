#include "train/concealment_trainer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "support/signals.h"
#include "train/codebook_checks.h"

namespace quel::train {
namespace {

// Samples of a linear function with features that are independent but for the last, which is the
// sum of two others.
struct Samples {
  explicit Samples(double noise) {
    test::Random random(4);
    for (int k = 0; k < 4000; ++k) {
      const double a = random.gauss(), b = random.gauss();
      x.push_back({1.0, a, b, a + b});
      y.push_back(3.0 - 2.0 * a + 0.5 * b + noise * random.gauss());
    }
  }
  Rows x;
  std::vector<double> y;
};

double value(const std::vector<double>& weights, const std::vector<double>& x) {
  double sum = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) sum += weights[i] * x[i];
  return sum;
}

TEST(ConcealmentTrainer, LeastSquaresFindALinearFunctionAndSmallWeights) {
  const Samples samples(0.0);
  const auto weights = least_squares(samples.x, samples.y);
  for (const auto& x : samples.x) {
    EXPECT_NEAR(value(weights, x), 3.0 - 2.0 * x[1] + 0.5 * x[2], 1e-3);  // the ridge's share
  }
  // Of all weights that give the function, those with the least squares.
  EXPECT_NEAR(weights[1], -1.5, 1e-3);
  EXPECT_NEAR(weights[2], 1.0, 1e-3);
  EXPECT_NEAR(weights[3], -0.5, 1e-3);
}

TEST(ConcealmentTrainer, TheAskedShareOfTheTargetsLiesBelowAQuantile) {
  const Samples samples(1.0);
  for (const double tau : {0.03, 0.5, 0.9}) {
    const auto weights = quantile_regression(samples.x, samples.y, tau);
    int below = 0;
    for (std::size_t k = 0; k < samples.y.size(); ++k) {
      if (samples.y[k] < value(weights, samples.x[k])) ++below;
    }
    EXPECT_NEAR(below / 4000.0, tau, 0.01) << tau;
  }
}

class Tracks : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Flavors, Tracks, ::testing::Range(0, 4));

std::vector<Track> tracks_of_synthetic_speech(int flavor, int seconds) {
  const double rate = flavor == 3 ? 16000.0 : 8000.0;
  return tracks_of(flavor, synthetic_speech(seconds * static_cast<int>(rate), rate));
}

TEST_P(Tracks, HoldWhatTheDecoderHeard) {
  const std::vector<Track> tracks = tracks_of_synthetic_speech(GetParam(), 4);
  constexpr std::size_t subframes[] = {3, 3, 5, 2};
  double loudest = 0.0;
  for (const Track& track : tracks) {
    ASSERT_GT(track.size(), 50u);
    for (const TrackFrame& frame : track) {
      ASSERT_EQ(frame.subframes.size(), subframes[GetParam()]);
      ASSERT_EQ(frame.deviation.size(), GetParam() == 3 ? 16u : 10u);
      ASSERT_EQ(frame.residual.size(), frame.deviation.size());
      for (const TrackSubframe& subframe : frame.subframes) {
        loudest = std::max(loudest, subframe.heard);
      }
      // The newest subframe is the last.
      EXPECT_EQ(frame.fall[2], frame.subframes.back().pitch_gain);
    }
  }
  EXPECT_GT(loudest, 60.0);
  EXPECT_LT(loudest, 91.0);
}

// Level and correction of the code hang together by the predictor, whose memory is the corrections
// before.
TEST_P(Tracks, LevelsAreWhatTheCorrectionsPredict) {
  const std::vector<Track> tracks = tracks_of_synthetic_speech(GetParam(), 2);
  const std::vector<double> pred =
      GetParam() == 3 ? std::vector{0.8, 0.6} : std::vector{0.691, 0.504, 0.334, 0.2};
  for (const Track& track : tracks) {
    std::vector<TrackSubframe> all;
    for (const TrackFrame& frame : track) {
      all.insert(all.end(), frame.subframes.begin(), frame.subframes.end());
    }
    for (std::size_t k = 10; k < all.size(); ++k) {
      double level = (GetParam() == 3 ? 19.0 : 34.0) + all[k].correction;
      for (std::size_t i = 0; i < pred.size(); ++i) level += pred[i] * all[k - 1 - i].correction;
      ASSERT_NEAR(all[k].code_level, level, 1e-3) << k;
    }
  }
}

// The trainer's work on little: finite weights that do better than the mean.
TEST_P(Tracks, WeightsOfALittleSpeechPredictIt) {
  const std::vector<Track> tracks = tracks_of_synthetic_speech(GetParam(), 12);
  const std::size_t count = GetParam() == 3 ? 2 : 4, clues = GetParam() == 3 ? 2 : 3;
  for (const std::size_t lost : {1u, 2u}) {
    const Rows energies = fit_energies(tracks, lost, count, clues);
    ASSERT_EQ(energies.size(), count);
    for (const auto& row : energies) {
      ASSERT_EQ(row.size(), 9 + clues);
      for (const double weight : row) ASSERT_TRUE(std::isfinite(weight));
    }
    for (const auto& weights : {fit_residual(tracks, lost), fit_deviation(tracks, lost)}) {
      ASSERT_EQ(weights.size(), 3u);
      for (const double weight : weights) EXPECT_LT(std::abs(weight), 3.0);
    }
  }
  const Rows fall = fit_fall(tracks, 3);
  ASSERT_EQ(fall.size(), 3u);
  for (const auto& row : fall) EXPECT_EQ(row.size(), fall_features);
}

// Of one lost frame of flavors 0 and 1 the oldest energy is known: it is found without being told.
TEST(ConcealmentTrainer, WhatIsKnownIsFound) {
  const Rows energies = fit_energies(tracks_of_synthetic_speech(1, 12), 1, 4, 3);
  for (std::size_t i = 0; i < 12; ++i) {
    EXPECT_NEAR(energies[3][i], i == 4 ? 1.0 : 0.0, 1e-3) << i;  // the ridge's share
  }
}

TEST(ConcealmentTrainer, TheSameSpeechGivesTheSameWeights) {
  const auto tracks = tracks_of_synthetic_speech(0, 3);
  EXPECT_EQ(fit_fall(tracks, 2), fit_fall(tracks_of_synthetic_speech(0, 3), 2));
}

}  // namespace
}  // namespace quel::train
