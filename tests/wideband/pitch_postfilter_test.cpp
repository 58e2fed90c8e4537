#include "wideband/pitch_postfilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "support/signals.h"
#include "wideband/frames.h"

namespace quel {
namespace {

using wideband::PitchPostfilter;
using wideband::postfilter_pitch;

constexpr std::size_t past = 292;

/// A pulse train with a little noise.
std::vector<float> voiced(std::size_t n, std::size_t period, unsigned seed) {
  auto x = test::noise(static_cast<int>(n), seed, 200.0);
  for (std::size_t i = 0; i < n; ++i) x[i] += i % period == 7 ? 8000.0f : 0.0f;
  return x;
}

TEST(PitchPostfilter, AddsTheSoundOfALagBefore) {
  for (const int lag : {30, 79, 80, 200, 292}) {
    for (const float gain : {0.4f, 1.0f, 1.2f}) {
      SCOPED_TRACE(testing::Message() << lag << ", " << gain);
      const auto x = voiced(past + 800, static_cast<std::size_t>(lag), 1);
      PitchPostfilter state;
      state.on = true;
      std::copy_n(x.begin(), past, state.past.begin());
      const double g = 0.15 * std::min(gain, 1.0f);
      for (std::size_t from = past; from < x.size(); from += 80) {
        std::vector<float> y(x.begin() + static_cast<std::ptrdiff_t>(from),
                             x.begin() + static_cast<std::ptrdiff_t>(from + 80));
        double product = 0.0, now = 0.0, then = 0.0;
        for (std::size_t n = from; n < from + 80; ++n) {
          const double before = x[n - static_cast<std::size_t>(lag)];
          product += x[n] * before;
          now += static_cast<double>(x[n]) * x[n];
          then += before * before;
        }
        const double likeness = product > 0.0 ? product * product / (now * then) : 0.0;
        postfilter_pitch(state, lag, gain, y.data());
        for (std::size_t n = 0; n < 80; ++n) {
          const double old = x[from + n - static_cast<std::size_t>(lag)];
          const double wanted = likeness > 0.5 ? (x[from + n] + g * old) / (1.0 + g) : x[from + n];
          ASSERT_NEAR(y[n], wanted, 0.001) << from << ", " << n;  // floats of some thousands
        }
      }
    }
  }
}

// Noise, a tone that is its own opposite a lag ago, and silence.
TEST(PitchPostfilter, LeavesWhatIsUnlikeItself) {
  std::vector<float> tone(past + 80);
  for (std::size_t n = 0; n < tone.size(); ++n) tone[n] = n % 2 == 0 ? 100.0f : -100.0f;
  const std::vector<float> silence(past + 80);
  for (const auto& x : {test::noise(static_cast<int>(past) + 80, 3), tone, silence}) {
    for (const int lag : {31, 101, 291}) {
      PitchPostfilter state;
      state.on = true;
      std::copy_n(x.begin(), past, state.past.begin());
      std::vector<float> y(x.end() - 80, x.end());
      const auto before = y;
      postfilter_pitch(state, lag, 1.0f, y.data());
      EXPECT_EQ(y, before) << lag;
    }
  }
}

TEST(PitchPostfilter, OffLeavesEverything) {
  PitchPostfilter state;
  auto x = voiced(80, 40, 1);
  const auto before = x;
  postfilter_pitch(state, 40, 1.0f, x.data());
  EXPECT_EQ(x, before);
  for (const float v : state.past) EXPECT_EQ(v, 0.0f);
}

// The excitation, and what decides on later frames, is none of the postfilter's business.
TEST(DecodWb, EnhancementChangesTheOutputAlone) {
  const auto frames = test::encode(test::speech16(100, 2));
  WidebandDecoder plain, enhanced;
  enhanced.pitch_postfilter.on = true;
  int changed = 0;
  for (const auto& words : frames) {
    test::Pcm a, b;
    decod_wb(plain, words.data(), a.data());
    decod_wb(enhanced, words.data(), b.data());
    changed += a != b ? 1 : 0;
    ASSERT_EQ(plain.exc, enhanced.exc);
    ASSERT_EQ(plain.mem_syn, enhanced.mem_syn);
    ASSERT_EQ(plain.old_lsp, enhanced.old_lsp);
  }
  EXPECT_GT(changed, 40);
  init_decod_wb(enhanced);
  EXPECT_TRUE(enhanced.pitch_postfilter.on);
  EXPECT_EQ(enhanced.pitch_postfilter.past, WidebandDecoder().pitch_postfilter.past);
}

}  // namespace
}  // namespace quel
