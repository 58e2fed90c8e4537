#include "narrowband/decoder_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "dsp/hp_2nd.h"
#include "dsp/pcm.h"
#include "dsp/sane.h"
#include "narrowband/memories.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::memories;
using test::noise;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

constexpr float inf = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

SynthesisState used_state() {
  SynthesisState state;
  const auto values = noise(202, 1);
  std::copy_n(values.begin(), 202, state.old_exc.begin());
  state.isfold.fill(0.3f);
  state.mem_syn.fill(4.0f);
  state.xmem = {5.0f, 6.0f};
  state.ymem = {7.0f, 8.0f};
  state.gain_har = 0.25f;
  return state;
}

TEST(DecoderState, InitClearsAllButTheStartSpectrum) {
  SynthesisState state = used_state();
  init_synthesis(state);
  EXPECT_THAT(state.isfold, ElementsAre(0.9595f, 0.8413f, 0.6549f, 0.4154f, 0.1423f, -0.1423f,
                                        -0.4154f, -0.6549f, -0.8413f, -0.9595f));
  state.isfold.fill(0);
  EXPECT_THAT(memories(state), Each(0.0f));
}

// What enhance takes away per unit of code, for a run of pitch gains.
std::vector<float> attenuation(std::initializer_list<float> gains) {
  SynthesisState state;
  init_synthesis(state);
  std::vector<float> all;
  for (const float gain : gains) {
    const std::vector<float> exc(48), code(48, 1.0f);
    std::vector<float> out(48);
    enhance(state, exc.data(), code.data(), gain, 1.0f, out.data());
    EXPECT_THAT(out, Each(-state.gain_har));
    all.push_back(state.gain_har);
  }
  return all;
}

TEST(Enhance, StartsWith30PercentOfHalfTheSquaredPitchGain) {
  EXPECT_THAT(attenuation({0.5f}), ElementsAre(static_cast<float>(0.3f * 0.125)));
}

TEST(Enhance, SaturatesAt04) {
  EXPECT_EQ(attenuation({1.3f})[0], 0.3f * 0.4f);
  EXPECT_EQ(attenuation({0.9f})[0], 0.3f * 0.4f);  // half of 0.81 is above
  EXPECT_LT(attenuation({0.89f})[0], 0.3f * 0.4f);
  const auto run = attenuation({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                                1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1});
  EXPECT_TRUE(std::is_sorted(run.begin(), run.end()));
  // The last steps of the recursion are as fine as the float; the limit itself is never passed.
  EXPECT_FLOAT_EQ(run.back(), 0.4f);
  EXPECT_LE(run.back(), 0.4f);
}

TEST(Enhance, FollowsAFallingPitchGainAtOnce) {
  const auto run = attenuation({1.0f, 1.0f, 1.0f, 0.4f, 0.0f});
  EXPECT_EQ(run[3], 0.5f * 0.4f * 0.4f);
  EXPECT_EQ(run[4], 0.0f);
}

TEST(Enhance, TakesOnlyInnovationAwayAndLeavesTheExcitation) {
  SynthesisState state = used_state();
  const auto before = state.old_exc;
  const auto exc = noise(48, 2), code = noise(48, 3, 1);
  std::vector<float> out(48);
  enhance(state, exc.data(), code.data(), 0.8f, 50.0f, out.data());
  const double beta = 0.5 * static_cast<double>(0.8f) * 0.8f;
  EXPECT_FLOAT_EQ(state.gain_har, static_cast<float>(0.7 * 0.25 + 0.3 * beta));
  for (std::size_t n = 0; n < 48; ++n) {
    const double expected = exc[n] - 50.0 * state.gain_har * code[n];
    EXPECT_EQ(out[n], static_cast<float>(expected));
  }
  EXPECT_EQ(state.old_exc, before);
}

TEST(ShiftExcitation, MovesTheHistoryOnByASubframe) {
  SynthesisState state = used_state();
  const auto before = state.old_exc;
  shift_excitation(state);
  EXPECT_THAT(std::vector<float>(state.old_exc.begin(), state.old_exc.begin() + 154),
              ElementsAreArray(before.begin() + 48, before.end()));
}

TEST(ClearAbsurd, ClearsSignalsAndKeepsPredictors) {
  SynthesisState state = used_state();
  NarrowbandDecoderShared shared;
  shared.isf.past_r.fill(1);
  shared.isf.past_isf.fill(2);
  shared.gains.past_qua_en.fill(3);
  shared.gains.step = 4;
  shared.gains.last_gain_pit = 5;
  shared.gains.last_gain_code = 6;
  shared.seed = 7;
  clear_absurd(state, shared);
  EXPECT_THAT(state.isfold, Each(0.3f));
  state.isfold.fill(0);
  EXPECT_THAT(memories(state), Each(0.0f));
  EXPECT_THAT(shared.isf.past_r, Each(1.0f));
  EXPECT_THAT(shared.isf.past_isf, Each(2.0f));
  EXPECT_THAT(shared.gains.past_qua_en, Each(3.0f));
  EXPECT_EQ(shared.gains.step, 4.0f);
  EXPECT_EQ(shared.gains.last_gain_pit, 0.0f);
  EXPECT_EQ(shared.gains.last_gain_code, 0.0f);
  EXPECT_EQ(shared.seed, 7);
}

TEST(IsSane, BothSidesOfTheLimit) {
  const float below = 1e9f, above = std::nextafter(1e9f, inf);
  for (int at = 0; at < 48; ++at) {
    std::vector<float> x(48, below);
    x[0] = -below;
    EXPECT_TRUE(is_sane(x.data(), 48));
    for (const float bad : {above, -above, inf, -inf, nan, -nan}) {
      x[static_cast<std::size_t>(at)] = bad;
      EXPECT_FALSE(is_sane(x.data(), 48));
    }
  }
}

TEST(FinishFrame, HighPassesThenRoundsTowardsZeroAfterAddingAHalf) {
  const auto samples = noise(240, 4, 20000);
  auto synth = samples, expected = samples;
  SynthesisState state = used_state();
  float xmem[2] = {5.0f, 6.0f}, ymem[2] = {7.0f, 8.0f};
  hp_2nd(expected.data(), 240, a_100, b_100, xmem, ymem);
  std::vector<std::int16_t> out(240);
  high_pass(state, synth.data(), 240);
  float_to_pcm(synth.data(), out.data(), 240);
  for (std::size_t n = 0; n < 240; ++n) {
    const double y = std::clamp(std::trunc(expected[n] + 0.5), -32768.0, 32767.0);
    EXPECT_EQ(out[n], y);
  }
  EXPECT_THAT(state.xmem, ElementsAreArray(xmem));
  EXPECT_THAT(state.ymem, ElementsAreArray(ymem));
}

// One sample behind a silent past comes out times b_100[0].
TEST(FinishFrame, WorkedRoundings) {
  const auto convert = [](double high_passed) {
    SynthesisState state;
    auto x = static_cast<float>(high_passed / b_100[0]);
    std::int16_t out = 0;
    high_pass(state, &x, 1);
    float_to_pcm(&x, &out, 1);
    return out;
  };
  EXPECT_EQ(convert(32767.6), 32767);
  EXPECT_EQ(convert(-0.9), 0);
  EXPECT_EQ(convert(-1.6), -1);
  EXPECT_EQ(convert(0.4), 0);
  EXPECT_EQ(convert(0.6), 1);
  EXPECT_EQ(convert(-40000), -32768);
}

}  // namespace
}  // namespace quel
