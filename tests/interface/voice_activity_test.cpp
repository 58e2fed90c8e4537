// Which units hold speech, and which have to be sent.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using Pcm = std::vector<std::int16_t>;

struct Told {
  std::vector<bool> active, needed;
};

class VoiceActivityOf : public ::testing::TestWithParam<int> {
 protected:
  int flavor() const { return GetParam(); }
  int rate() const { return quel_sampling_rate(flavor()); }
  std::size_t samples() const { return static_cast<std::size_t>(quel_samples_per_unit(flavor())); }
  std::size_t units_in(double seconds) const {
    return static_cast<std::size_t>(seconds * rate()) / samples();
  }
  Told tell(Encoder& encoder, const Pcm& pcm) const {
    Told told;
    for (std::size_t at = 0; at + samples() <= pcm.size(); at += samples()) {
      encoder.encode(std::span(pcm).subspan(at, samples()));
      told.active.push_back(encoder.voice_active());
      told.needed.push_back(encoder.unit_needed());
    }
    return told;
  }
  Pcm noise(double seconds, double deviation, std::uint64_t seed) const {
    Pcm pcm;
    for (const float x : test::noise(static_cast<int>(seconds * rate()), seed, deviation)) {
      pcm.push_back(static_cast<std::int16_t>(std::lround(x)));
    }
    return pcm;
  }
};
INSTANTIATE_TEST_SUITE_P(Flavors, VoiceActivityOf, ::testing::Range(0, 4));

double share(const std::vector<bool>& values, std::size_t from, std::size_t to) {
  const auto begin = values.begin();
  const auto count = std::count(begin + static_cast<std::ptrdiff_t>(from),
                                begin + static_cast<std::ptrdiff_t>(to), true);
  return static_cast<double>(count) / static_cast<double>(to - from);
}

TEST_P(VoiceActivityOf, StartsActive) {
  Encoder encoder(flavor());
  EXPECT_TRUE(encoder.voice_active());
  EXPECT_TRUE(encoder.unit_needed());
  tell(encoder, Pcm(static_cast<std::size_t>(2 * rate()), 0));
  EXPECT_FALSE(encoder.voice_active());
  encoder.reset();
  EXPECT_TRUE(encoder.voice_active());
  EXPECT_TRUE(encoder.unit_needed());
  EXPECT_EQ(quel_encoder_voice_active(nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_encoder_unit_needed(nullptr), QUEL_ERROR_ARGUMENT);
}

// Noise alone is found to be the background within two seconds, also where it is loud.
TEST_P(VoiceActivityOf, SteadyNoiseIsBackgroundAtAnyLevel) {
  for (const double deviation : {3.0, 300.0, 5000.0}) {
    Encoder encoder(flavor());
    const Told told = tell(encoder, noise(8.0, deviation, 1));
    EXPECT_LE(share(told.active, units_in(3.0), told.active.size()), 0.5) << deviation;
  }
}

// Within the unit in which it begins, or the one after where it begins at its end.
TEST_P(VoiceActivityOf, SpeechAfterNoiseIsActiveAtOnce) {
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    Pcm pcm = noise(4.0, 50.0, seed);
    const std::size_t from = pcm.size();
    const Pcm speech = test::speech_like_pcm(rate(), seed, rate());
    pcm.insert(pcm.end(), speech.begin(), speech.end());
    // As speech begins where it is loud enough to be heard over the noise.
    std::size_t loud = from;
    while (loud + 1 < pcm.size() && std::abs(pcm[loud]) < 1500) ++loud;
    Encoder encoder(flavor());
    const Told told = tell(encoder, pcm);
    const std::size_t unit = loud / samples() + 1;
    ASSERT_LT(unit, told.active.size());
    EXPECT_TRUE(told.active[unit]) << seed;
  }
}

// The level of noise may change: after two seconds the new one is the background.
TEST_P(VoiceActivityOf, LouderNoiseBecomesTheBackground) {
  Pcm pcm = noise(4.0, 50.0, 2);
  const Pcm louder = noise(8.0, 1000.0, 3);
  pcm.insert(pcm.end(), louder.begin(), louder.end());
  Encoder encoder(flavor());
  const Told told = tell(encoder, pcm);
  EXPECT_TRUE(told.active[units_in(4.0) + 1]);
  EXPECT_LE(share(told.active, units_in(8.0), told.active.size()), 0.5);
}

TEST_P(VoiceActivityOf, WhatIsActiveIsNeeded) {
  Pcm pcm = noise(3.0, 100.0, 4);
  const Pcm speech = test::speech_like_pcm(2 * rate(), 5, rate());
  pcm.insert(pcm.end(), speech.begin(), speech.end());
  const Pcm after = noise(3.0, 100.0, 6);
  pcm.insert(pcm.end(), after.begin(), after.end());
  Encoder encoder(flavor());
  const Told told = tell(encoder, pcm);
  for (std::size_t u = 0; u < told.active.size(); ++u) {
    EXPECT_TRUE(told.needed[u] || !told.active[u]) << u;
  }
}

// 9 units of 18 ms, 4 of 36, 3 of 60, 16 of 10: 160 ms to the nearest unit.
TEST_P(VoiceActivityOf, OfStillnessOneUnitIn160MillisecondsIsNeeded) {
  constexpr std::size_t periods[] = {4, 9, 3, 16};
  const std::size_t period = periods[flavor()];
  Encoder encoder(flavor());
  const Told told = tell(encoder, Pcm(static_cast<std::size_t>(5 * rate()), 0));
  std::vector<std::size_t> sent;
  for (std::size_t u = units_in(1.0); u < told.needed.size(); ++u) {
    if (told.needed[u]) sent.push_back(u);
  }
  ASSERT_GE(sent.size(), 10u);
  for (std::size_t k = 1; k < sent.size(); ++k) EXPECT_EQ(sent[k] - sent[k - 1], period);
}

}  // namespace
}  // namespace quel
