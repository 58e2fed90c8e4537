#include "wideband/effort16.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

#include "dsp/instruction_set.h"
#include "dsp/scratch.h"
#include "support/kernels.h"
#include "support/signals.h"
#include "wideband/dec_wb.h"
#include "wideband/frames.h"
#include "wideband/lsf2a.h"

namespace quel {
namespace {

using test::Pcm;
using test::speech16;
using test::Words;

/// An encoder that searches longer.
struct Eager {
  WidebandEncoder coder;
  WidebandEffort effort;

  explicit Eager(int level) { effort.level = level; }
  Words code(const std::vector<float>& x, std::size_t k) {
    std::copy_n(x.begin() + static_cast<std::ptrdiff_t>(160 * k), 160, new_speech2(coder));
    Words words{};
    coder_wb16(coder, effort, words.data() + 1);
    return words;
  }
  std::vector<Words> code(const std::vector<float>& x) {
    std::vector<Words> frames(x.size() / 160);
    for (std::size_t k = 0; k < frames.size(); ++k) frames[k] = code(x, k);
    return frames;
  }
};

void expect_fits(const Words& words) {
  for (std::size_t i = 0; i < 22; ++i) {
    ASSERT_GE(words[i + 1], 0) << i;
    ASSERT_LT(words[i + 1], 1 << test::word_bits[i]) << i;
  }
  EXPECT_LE(words[15], 61);  // the two codes that no second delay has
}

/// Speech, noise, silence and full-scale squares.
std::vector<float> everything(std::uint64_t seed) {
  auto x = speech16(100, seed);
  const auto noise = test::noise(160 * 20, seed, 3000.0), more = speech16(60, seed + 1);
  x.insert(x.end(), noise.begin(), noise.end());
  x.insert(x.end(), 160 * 15, 0.0f);
  for (int i = 0; i < 160 * 15; ++i) x.push_back(i / 40 % 2 != 0 ? 32767.0f : -32768.0f);
  x.insert(x.end(), more.begin(), more.end());
  return x;
}

class WidebandLevel : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(All, WidebandLevel, ::testing::Values(1, 2, 3));

TEST_P(WidebandLevel, DecoderFollowsBitForBit) {
  const auto x = everything(1);
  const auto encoder = std::make_unique<Eager>(GetParam());
  const WidebandEncoder& coder = encoder->coder;
  WidebandDecoder decoder;
  int short_lags = 0, whole_lags = 0;
  for (std::size_t k = 0; k < x.size() / 160; ++k) {
    const Words words = encoder->code(x, k);
    expect_fits(words);
    Pcm out;
    decod_wb(decoder, words.data(), out.data());
    ASSERT_TRUE(std::equal(coder.exc.begin(), coder.exc.begin() + 292,
                           decoder.exc.begin() + (WidebandDecoder::past - 292)))
        << k;
    ASSERT_EQ(coder.last_filter, decoder.last_filter) << k;
    ASSERT_EQ(coder.last_prefilter, decoder.last_postfilter) << k;
    ASSERT_EQ(coder.old_lsp, decoder.old_lsp) << k;
    ASSERT_EQ(coder.lsf.past_q_target, decoder.lsf.past_q_target) << k;
    ASSERT_EQ(coder.gains.past_qua_en, decoder.gains.past_qua_en) << k;
    short_lags += words[7] < 153 ? 1 : 0;
    whole_lags += words[7] > 389 ? 1 : 0;
  }
  EXPECT_GT(short_lags, 0);
  EXPECT_GT(whole_lags, 0);
}

/// Errors of a decode that is 80 samples late, over both signals' weighting by the sound, dB.
double heard_snr(const std::vector<float>& x, const std::vector<Words>& frames) {
  WidebandDecoder decoder;
  const auto y = test::decode(decoder, frames);
  std::vector<float> padded(400);
  padded.insert(padded.end(), x.begin(), x.end());
  padded.resize(padded.size() + 400);
  wideband::Listener listener;
  constexpr std::array<float, 17> none{1.0f};
  wideband::ErrorMemory sound, error;
  double loud = 0.0, wrong = 0.0;
  for (std::size_t k = 0; (k + 2) * 160 <= x.size(); ++k) {
    wideband::follow_sound(listener, padded.data() + 400 + 160 * k - 240, lag_window16.data());
    for (std::size_t i = 0; i < 2; ++i) {
      const wideband::ErrorPath weighting{none.data(), none.data(), &listener.zeros[17 * i],
                                          &listener.poles[17 * i]};
      const float* signal = x.data() + 160 * k + 80 * i;
      std::array<float, 80> difference;
      for (std::size_t n = 0; n < 80; ++n) difference[n] = signal[n] - y[160 * k + 80 * i + 80 + n];
      const auto through = [&](wideband::ErrorMemory& memory, const float* in) {
        wideband::Heard heard;
        wideband::hear(weighting, memory, in, heard);
        double sum = 0.0;
        for (const double v : heard.weighted) sum += v * v;
        std::copy_n(in + 64, 16, memory.prefilter.begin());
        std::copy_n(heard.weighted.begin() + 64, 16, memory.weighted.begin());
        return sum;
      };
      loud += through(sound, signal);
      wrong += through(error, difference.data());
    }
  }
  return 10 * std::log10(loud / wrong);
}

TEST(WidebandEffort, EachLevelLeavesLessToHear) {
  std::array<double, 4> mean{};
  constexpr unsigned signals = 8;
  for (unsigned seed = 0; seed < signals; ++seed) {
    const auto x = speech16(150, seed);
    mean[0] += heard_snr(x, test::encode(x)) / signals;
    for (int level = 1; level <= 3; ++level) {
      mean[static_cast<std::size_t>(level)] +=
          heard_snr(x, std::make_unique<Eager>(level)->code(x)) / signals;
    }
  }
  EXPECT_GT(mean[1], mean[0] + 0.5);
  EXPECT_GT(mean[2], mean[1] + 0.15);
  EXPECT_GT(mean[3], mean[2] + 0.05);
}

// The memory that the next frame begins with is that of what a decoder gave.
TEST_P(WidebandLevel, RemembersTheErrorThatIsHeard) {
  const auto x = speech16(60, 2);
  const auto encoder = std::make_unique<Eager>(GetParam());
  wideband::ErrorMemory memory;
  for (std::size_t k = 0; k < 60; ++k) {
    const WidebandEncoder before = encoder->coder;
    encoder->code(x, k);
    const WidebandEncoder& coder = encoder->coder;
    std::array<float, 34> Aq;
    int_lpc(before.old_lsp.data(), coder.old_lsp.data(), Aq.data(), 16);
    double peak = 0.0, sum = 0.0;
    for (std::size_t i = 0; i < 2; ++i) {
      const wideband::ErrorPath way{&Aq[17 * i], coder.last_prefilter.data(),
                                    &encoder->effort.listener.zeros[17 * i],
                                    &encoder->effort.listener.poles[17 * i]};
      std::array<float, 80> error;
      const float* exc = coder.exc.data() + 292 - 160 + 80 * i;
      for (std::size_t n = 0; n < 80; ++n) error[n] = coder.res[80 * i + n] - exc[n];
      wideband::Heard heard;
      wideband::hear(way, memory, error.data(), heard);
      std::copy_n(heard.synthesis.begin() + 64, 16, memory.synthesis.begin());
      std::copy_n(heard.prefilter.begin() + 64, 16, memory.prefilter.begin());
      std::copy_n(heard.weighted.begin() + 64, 16, memory.weighted.begin());
      for (const float v : heard.synthesis) peak = std::max(peak, std::fabs(double{v}));
      for (const double v : heard.weighted) sum += v * v;
    }
    // The coder subtracts two filtered signals where this filters their difference.
    const double tolerance = 1e-3 * peak + 1e-3;
    for (std::size_t j = 0; j < 16; ++j) {
      const wideband::ErrorMemory& got = encoder->effort.memory;
      ASSERT_NEAR(got.synthesis[j], memory.synthesis[j], tolerance) << k;
      ASSERT_NEAR(got.prefilter[j], memory.prefilter[j], tolerance) << k;
      ASSERT_NEAR(got.weighted[j], memory.weighted[j], tolerance) << k;
    }
    // And its energy is what the search adds up and compares.
    ASSERT_NEAR(encoder->effort.paths.cost(0), sum, 1e-3 * sum + 1.0) << k;
    memory = encoder->effort.memory;
  }
}

TEST_P(WidebandLevel, IsTheSameInEveryInstructionSet) {
  const auto x = everything(5);
  std::vector<std::vector<Words>> coded;
  test::in_every_instruction_set(
      [&] { coded.push_back(std::make_unique<Eager>(GetParam())->code(x)); });
  for (const auto& frames : coded) EXPECT_EQ(frames, coded.front());
}

TEST_P(WidebandLevel, SamplesThatAreNoNumbersGiveValidWords) {
  constexpr float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                           std::numeric_limits<float>::infinity(), 1e38f, -1e38f, 1e-40f};
  test::Random random(1);
  auto x = speech16(40, 3);
  for (std::size_t i = 160 * 10; i < 160 * 30; ++i) {
    if (random.integer(0, 50) == 0) x[i] = odd[random.integer(0, 4)];
  }
  const auto encoder = std::make_unique<Eager>(GetParam());
  for (std::size_t k = 0; k < 40; ++k) expect_fits(encoder->code(x, k));
}

TEST_P(WidebandLevel, FrameIsCodedFromSamplesUpTo80AfterIt) {
  auto x = speech16(20, 9);
  const auto a = std::make_unique<Eager>(GetParam())->code(x);
  for (std::size_t i = 160 * 10; i < x.size(); ++i) x[i] = -x[i];
  const auto b = std::make_unique<Eager>(GetParam())->code(x);
  for (std::size_t k = 0; k < 10; ++k) EXPECT_EQ(a[k], b[k]);
  EXPECT_NE(a[10], b[10]);
}

// A stream's bytes may be copied at any time.
TEST_P(WidebandLevel, CopyGoesOnAlike) {
  const auto x = speech16(40, 4);
  const auto encoder = std::make_unique<Eager>(GetParam());
  for (std::size_t k = 0; k < 20; ++k) encoder->code(x, k);
  const auto copy = std::make_unique<Eager>(*encoder);
  for (std::size_t k = 20; k < 40; ++k) ASSERT_EQ(encoder->code(x, k), copy->code(x, k)) << k;
}

TEST_P(WidebandLevel, ScratchPeak) {
  ScratchArea area;
  constexpr std::byte paint{0xa5};
  std::fill(std::begin(area.bytes), std::end(area.bytes), paint);
  const auto encoder = std::make_unique<Eager>(GetParam());
  {
    const ScratchSwitch on(area);
    encoder->code(everything(3));
    EXPECT_EQ(i_heap, area.top());
  }
  EXPECT_EQ(test::scratch_used(area, paint), 2376u);
}

}  // namespace
}  // namespace quel
