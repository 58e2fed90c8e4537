#include "dsp/comfort_noise.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

constexpr int length = 144;

// A frame whose mean square is this, and whose frequencies all are `hz`.
void hear(ComfortNoise& state, int amplitude, float hz) {
  const std::vector<std::int16_t> pcm(length, static_cast<std::int16_t>(amplitude));
  const std::vector<float> frequencies(10, hz);
  hear_frame(state, pcm.data(), length, frequencies.data(), 10, -3.0f);
}

TEST(ComfortNoise, TheFirstFramesAreAveraged) {
  ComfortNoise state;
  hear(state, 100, 1000.0f);  // 40 dB
  EXPECT_NEAR(state.heard.level, 40.0f, 1e-3f);
  hear(state, 200, 2000.0f);  // 46.02 dB
  EXPECT_NEAR(state.heard.level, 43.01f, 1e-2f);
  EXPECT_FLOAT_EQ(state.heard.frequencies[0], 1500.0f);
  EXPECT_FLOAT_EQ(state.heard.frequencies[9], 1500.0f);
  EXPECT_FLOAT_EQ(state.heard.frequencies[10], 0.0f);
  EXPECT_FLOAT_EQ(state.heard.correction, -3.0f);
}

// 6 dB is where speech ends: of it nothing stays in the average.
TEST(ComfortNoise, AMuchFainterFrameBeginsAnew) {
  ComfortNoise state;
  for (int k = 0; k < 20; ++k) hear(state, 1000, 500.0f);
  hear(state, 510, 800.0f);  // 5.85 dB below
  EXPECT_NEAR(state.heard.level, 60.0 - 0.12 * 5.85, 0.02);
  hear(state, 400, 800.0f);
  EXPECT_NEAR(state.heard.level, 20.0 * std::log10(400.0), 1e-2);
  EXPECT_FLOAT_EQ(state.heard.frequencies[0], 800.0f);
  EXPECT_EQ(state.frames, 1);
}

TEST(ComfortNoise, StartsAtWhatWasHeardAndMovesSoftlyFromThereOn) {
  ComfortNoise state;
  for (int k = 0; k < 10; ++k) hear(state, 100, 1000.0f);
  EXPECT_NEAR(next_background(state).level, 40.0f, 1e-3f);
  hear(state, 150, 1400.0f);  // one frame out of the pause
  const float heard = state.heard.level;
  EXPECT_NEAR(heard, 40.0 + 0.35 * 20.0 * std::log10(1.5), 1e-2);
  const float first = next_background(state).level;
  EXPECT_NEAR(first, 40.0 + 0.25 * (heard - 40.0), 1e-3);
  for (int k = 0; k < 40; ++k) next_background(state);
  EXPECT_NEAR(state.played.level, heard, 1e-3);
  // After a row of frames it starts anew where these are.
  for (int k = 0; k < 4; ++k) hear(state, 300, 1000.0f);
  EXPECT_EQ(next_background(state).level, state.heard.level);
}

// Nothing was played that it could move on from, however little was heard.
TEST(ComfortNoise, StartsAtWhatWasHeardBehindASingleFrame) {
  ComfortNoise state;
  hear(state, 100, 1000.0f);
  EXPECT_EQ(next_background(state).level, state.heard.level);
  EXPECT_EQ(state.played.frequencies, state.heard.frequencies);
}

// Of 100,000 samples the mean square is known to 0.02 dB or so.
TEST(ComfortNoise, NoiseHasItsLevelBehindTheFilter) {
  const std::vector<float> response = {1.0f, -0.9f, 0.5f, 0.25f};
  std::vector<float> x(100000);
  std::uint32_t random = 1;
  noise_for_level(random, response.data(), 4, 50.0f, x.data(), static_cast<int>(x.size()));
  double sum = 0.0;
  for (std::size_t n = 3; n < x.size(); ++n) {
    double y = 0.0;
    for (std::size_t k = 0; k < 4; ++k) y += static_cast<double>(response[k]) * x[n - k];
    sum += y * y;
  }
  EXPECT_NEAR(10.0 * std::log10(sum / static_cast<double>(x.size() - 3)), 50.0, 0.1);
}

TEST(ComfortNoise, SilenceHasALevelToo) {
  ComfortNoise state;
  hear(state, 0, 1000.0f);
  EXPECT_NEAR(state.heard.level, -20.0f, 1e-4f);
}

}  // namespace
}  // namespace quel
