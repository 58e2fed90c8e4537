#include "dsp/voice_activity.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "support/signals.h"

namespace quel {
namespace {

using Bands = VoiceActivity::Bands;

// A frame of 10 ms of this power, white; it has no pitch.
VoiceFrame white(std::array<float, 17>& r, float power) {
  r = {};
  r[0] = power;
  return {r.data(), nullptr, 10, 0.0f, 1000.0f, 10};
}

TEST(VoiceActivity, DistanceIsTheMeanOverTheBandsEitherWay) {
  Bands one, other;
  one.fill(2.0f);
  other = one;
  EXPECT_NEAR(distance(one, other), 0.0f, 1e-6f);
  other[3] = 20.0f;
  one[5] = 200.0f;
  EXPECT_NEAR(distance(one, other), (10.0 + 20.0) / 8.0, 1e-5);
  EXPECT_NEAR(distance(other, one), (10.0 + 20.0) / 8.0, 1e-5);
}

TEST(VoiceActivity, AStepUpIsSpeechAtOnceAndBackDownAfterTheHangover) {
  VoiceActivity state;
  std::array<float, 17> r;
  for (int k = 0; k < 300; ++k) hear_voice(state, white(r, 1e5f));
  EXPECT_FALSE(hear_voice(state, white(r, 1e5f)));
  for (int k = 0; k < 20; ++k) EXPECT_TRUE(hear_voice(state, white(r, 1e8f)));
  int held = 0;
  while (held < 1000 && hear_voice(state, white(r, 1e5f))) ++held;
  EXPECT_GE(held, 25);   // a quarter of a second at least
  EXPECT_LE(held, 100);  // and no second
}

TEST(VoiceActivity, AFloorThatHasRisenIsLearntWithinTwoSeconds) {
  VoiceActivity state;
  std::array<float, 17> r;
  for (int k = 0; k < 300; ++k) hear_voice(state, white(r, 1e5f));
  int active = 0;
  while (active < 1000 && hear_voice(state, white(r, 1e7f))) ++active;
  EXPECT_GE(active, 100);
  EXPECT_LE(active, 300);
}

// Whatever the pre-filter took away, up to 6 dB, is put back. Bartlett's window takes a 17th off
// the first correlation, which is 0.85 dB in the lowest band.
TEST(VoiceActivity, APreFilterIsTakenOut) {
  std::array<float, 17> r{}, filter{};
  filter[0] = 1.0f;
  filter[1] = -0.5f;
  r[0] = 1.25e6f;
  r[1] = -0.5e6f;
  VoiceActivity state;
  hear_voice(state, {r.data(), filter.data(), 16, 0.0f, 1000.0f, 10});
  for (const float power : state.recent) EXPECT_NEAR(10.0 * std::log10(power / 1e6), 0.0, 0.9);
}

// A voice that is hardly louder than the background is found by its pitch.
TEST(VoiceActivity, PitchTellsAFaintVoice) {
  for (const float gain : {0.0f, 1.0f}) {
    VoiceActivity state;
    std::array<float, 17> r;
    for (int k = 0; k < 500; ++k) hear_voice(state, white(r, 1e5f));
    VoiceFrame frame = white(r, 1.05e5f);
    frame.lag_gain = gain;
    EXPECT_EQ(hear_voice(state, frame), gain > 0.5f);
  }
}

TEST(VoiceActivity, SilenceIsNoSpeechAndNothingIsDividedByIt) {
  VoiceActivity state;
  std::array<float, 17> r;
  for (int k = 0; k < 10; ++k) EXPECT_FALSE(hear_voice(state, white(r, 0.0f)));
  for (const float power : state.floor) EXPECT_GT(power, 0.0f);
}

}  // namespace
}  // namespace quel
