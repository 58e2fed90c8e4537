#include "wideband/cod_wb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "dsp/scratch.h"
#include "support/signals.h"
#include "wideband/a2lsf.h"
#include "wideband/dec_wb.h"
#include "wideband/frames.h"
#include "wideband/q_lsp.h"

namespace quel {
namespace {

using test::encode;
using test::encode_frame;
using test::Pcm;
using test::Random;
using test::speech16;
using test::Words;

void expect_fits(const Words& words) {
  for (std::size_t i = 0; i < 22; ++i) {
    EXPECT_GE(words[i + 1], 0) << i;
    EXPECT_LT(words[i + 1], 1 << test::word_bits[i]) << i;
  }
  EXPECT_LE(words[15], 61);  // the two codes that no second delay has
}

std::vector<float> concatenation(const std::vector<std::vector<float>>& parts) {
  std::vector<float> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

std::vector<float> sine(int n, double frequency, double amplitude) {
  std::vector<float> x(static_cast<std::size_t>(n));
  for (std::size_t i = 0; i < x.size(); ++i) {
    x[i] = static_cast<float>(
        std::round(amplitude * std::sin(2 * 3.14159265358979 * frequency / 16000 * double(i))));
  }
  return x;
}

std::vector<float> square(int n, int half_period) {
  std::vector<float> x(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) {
    x[static_cast<std::size_t>(i)] = i / half_period % 2 != 0 ? 32767.0f : -32768.0f;
  }
  return x;
}

/// Speech, noise, silence, tones and full-scale squares in turn.
std::vector<float> everything(std::uint64_t seed) {
  return concatenation({speech16(100, seed), test::noise(160 * 20, seed, 3000.0),
                        std::vector<float>(160 * 20), sine(160 * 20, 440, 8000),
                        square(160 * 20, 40), speech16(60, seed + 1), square(160 * 10, 3),
                        sine(160 * 10, 7900, 20000), std::vector<float>(160 * 10)});
}

TEST(CoderWb16, SilenceFromStartUpGivesAValidFrameOfTheNeutralPairs) {
  WidebandEncoder encoder;
  init_coder_wb16(encoder);
  const Words words = encode_frame(encoder, std::vector<float>(160), 0);
  expect_fits(words);

  std::array<float, 17> flat{1.0f};
  const std::array<float, 16> neutral = wideband::neutral_lsp();
  std::array<float, 16> lsp;
  a2lsf(flat.data(), lsp.data(), neutral.data(), 16);
  for (std::size_t i = 0; i < 16; ++i) {
    EXPECT_NEAR(lsp[i], neutral[i], 1e-4);  // grid search with 4 bisections
  }
  LsfQuantizer quantizer;
  std::array<std::int32_t, 6> indices;
  q_lsp(quantizer, lsp.data(), indices.data());
  EXPECT_EQ(encoder.old_lsp, lsp);
  EXPECT_TRUE(std::equal(indices.begin(), indices.end(), words.begin() + 1));
}

TEST(CoderWb16, StartValuesAreEquidistantFrequencies) {
  const WidebandEncoder encoder;
  for (std::size_t i = 0; i < 16; ++i) {
    const double angle = static_cast<double>(i + 1) * 3.141592654 / 17;
    EXPECT_EQ(encoder.old_lsp[i], static_cast<float>(std::cos(angle)));
  }
}

TEST(FirstLagWindow16, StaysInsideTheLags) {
  const auto expect = [](int T_op, int min, int max) {
    EXPECT_EQ(first_lag_window16(T_op).min, min) << T_op;
    EXPECT_EQ(first_lag_window16(T_op).max, max) << T_op;
  };
  expect(279, 269, 281);
  expect(276, 269, 281);
  expect(275, 269, 281);
  expect(274, 268, 280);
  expect(30, 30, 42);
  expect(36, 30, 42);
  expect(37, 31, 43);
}

TEST(CoderWb16, ChangeOfSpectrumFadesFromOnePreFilterToTheNext) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    WidebandEncoder encoder;
    const auto speech = test::noise(496, seed);
    std::copy(speech.begin(), speech.end(), encoder.speech.begin());
    const auto last = test::stable_filter(16, seed);
    const auto before = test::stable_filter(16, seed + 100);
    std::copy(last.begin(), last.end(), encoder.last_filter.begin());
    std::copy(before.begin(), before.end(), encoder.last_prefilter.begin());
    Words words{};
    coder_wb16(encoder, words.data());
    const float* coded = encoder.coded.data() + 16;
    for (std::size_t n = 0; n < 160; ++n) {
      const std::size_t at = 16 + 240 + n;
      double now = 0, then = 0;
      for (std::size_t i = 0; i <= 16; ++i) {
        now += last[i] * std::pow(0.5, static_cast<double>(i)) * speech[at - i];
        then += static_cast<double>(before[i]) * speech[at - i];
      }
      const double fac = n < 30 ? 1.0 - static_cast<double>(n) / 30 : 0.0;
      // Samples near 5000 as floats, and a fade factor that is a sum of 30 float steps.
      EXPECT_NEAR(coded[n], fac * then + (1 - fac) * now, 0.02);
      if (n == 0) {
        EXPECT_EQ(coded[0], static_cast<float>(then));  // nothing of the new filter
      }
    }
    for (std::size_t i = 0; i <= 16; ++i) {
      EXPECT_EQ(encoder.last_prefilter[i], last[i] * std::ldexp(1.0f, -static_cast<int>(i)));
    }
  }
}

TEST(CoderWb16, WordsFitTheirFieldsOnAnySamples) {
  for (unsigned seed = 0; seed < 2; ++seed) {
    for (const Words& words : encode(everything(seed))) expect_fits(words);
  }
}

TEST(CoderWb16, SamplesThatAreNoNumbersGiveValidWordsUntilReset) {
  constexpr float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                           std::numeric_limits<float>::infinity(), 1e38f, -1e38f, 1e-40f};
  Random random(1);
  auto x = speech16(60, 3);
  for (std::size_t i = 160 * 10; i < 160 * 30; ++i) {
    if (random.integer(0, 50) == 0) x[i] = odd[random.integer(0, 4)];
  }
  WidebandEncoder encoder;
  for (std::size_t k = 0; k < 60; ++k) {
    if (k == 40) {
      init_coder_wb16(encoder);
      encoder.decimator = {};
    }
    expect_fits(encode_frame(encoder, x, k));
  }
  for (const float v : encoder.exc) EXPECT_TRUE(std::isfinite(v));
}

TEST(CoderWb16, DecoderFollowsBitForBit) {
  int sharpened_by_one = 0, whole_lags = 0;
  for (unsigned seed = 0; seed < 2; ++seed) {
    const auto x = everything(seed);
    auto encoder = std::make_unique<WidebandEncoder>();
    WidebandDecoder decoder;
    for (std::size_t k = 0; k < x.size() / 160; ++k) {
      const Words words = encode_frame(*encoder, x, k);
      Pcm out;
      decod_wb(decoder, words.data(), out.data());
      ASSERT_TRUE(std::equal(encoder->exc.begin(), encoder->exc.begin() + 292,
                             decoder.exc.begin() + (WidebandDecoder::past - 292)))
          << k;
      ASSERT_EQ(encoder->last_filter, decoder.last_filter) << k;
      ASSERT_EQ(encoder->last_prefilter, decoder.last_postfilter) << k;
      ASSERT_EQ(encoder->old_lsp, decoder.old_lsp) << k;
      ASSERT_EQ(encoder->lsf.past_q_target, decoder.lsf.past_q_target) << k;
      ASSERT_EQ(encoder->gains.past_qua_en, decoder.gains.past_qua_en) << k;
      sharpened_by_one += words[8] > 11 && words[7] < 153 ? 1 : 0;
      whole_lags += words[7] > 389 ? 1 : 0;
    }
  }
  // Gains above 1 at lags that sharpen, where both sides must take 1, were among the frames.
  EXPECT_GT(sharpened_by_one, 0);
  EXPECT_GT(whole_lags, 0);
}

/// Signal-to-noise ratio in dB of a decode that is 80 samples late.
double round_trip_snr(const std::vector<float>& x, AcelpSettings settings) {
  WidebandEncoder encoder;
  encoder.settings = settings;
  WidebandDecoder decoder;
  std::vector<Words> frames;
  for (std::size_t k = 0; k < x.size() / 160; ++k) frames.push_back(encode_frame(encoder, x, k));
  const auto y = test::decode(decoder, frames);
  double signal = 0, error = 0;
  for (std::size_t i = 80; i < y.size(); ++i) {
    signal += static_cast<double>(x[i - 80]) * x[i - 80];
    error += std::pow(x[i - 80] - y[i], 2);
  }
  return 10 * std::log10(signal / error);
}

TEST(CoderWb16, RoundTripIsClose) {
  constexpr unsigned signals = 12;
  double gained = 0.0;
  for (unsigned seed = 0; seed < signals; ++seed) {
    const auto x = speech16(200, seed);
    const double snr = round_trip_snr(x, {});
    EXPECT_GT(snr, 13.0) << seed;  // 14.7 to 22.3; a step misread costs decibels
    gained += snr - round_trip_snr(x, {.running_vector_from_signs = 1});
  }
  EXPECT_GT(gained / signals, 2.0);  // from 1.4 to 5.6 dB, by signal
}

TEST(CoderWb16, RoundTripIsDelayedByExactly80Samples) {
  for (unsigned seed = 0; seed < 3; ++seed) {
    SCOPED_TRACE(seed);
    const auto x = speech16(150, seed);
    WidebandDecoder decoder;
    const auto y = test::decode(decoder, encode(x));
    int best = -1;
    double max = -1;
    for (int lag = 0; lag < 250; ++lag) {
      double sum = 0;
      for (std::size_t i = 250; i < y.size(); ++i) {
        sum += static_cast<double>(y[i]) * x[i - static_cast<std::size_t>(lag)];
      }
      if (sum > max) {
        max = sum;
        best = lag;
      }
    }
    EXPECT_EQ(best, 80);
  }
}

TEST(CoderWb16, FrameIsCodedFromSamplesUpTo80AfterIt) {
  // The look-ahead alone shapes the spectrum; what comes later is unknown to the coder.
  auto x = speech16(20, 9);
  const auto a = encode(x);
  for (std::size_t i = 160 * 10; i < x.size(); ++i) x[i] = -x[i];
  const auto b = encode(x);
  for (std::size_t k = 0; k < 10; ++k) EXPECT_EQ(a[k], b[k]);
  EXPECT_NE(a[10], b[10]);
}

TEST(InitCoderWb16, ResetsTheSignalAndLeavesThePredictors) {
  const auto x = speech16(50, 4);
  WidebandEncoder used;
  used.settings.nb_iter_selected = 3;
  for (std::size_t k = 0; k < 50; ++k) encode_frame(used, x, k);
  const WidebandEncoder before = used, load;
  init_coder_wb16(used);
  EXPECT_EQ(used.speech, load.speech);
  EXPECT_EQ(used.prefiltered, load.prefiltered);
  EXPECT_EQ(used.coded, load.coded);
  EXPECT_EQ(used.res, load.res);
  EXPECT_EQ(used.wsp, load.wsp);
  EXPECT_EQ(used.exc, load.exc);
  EXPECT_EQ(used.mem_w, load.mem_w);
  EXPECT_EQ(used.mem_target, load.mem_target);
  EXPECT_EQ(used.impulse, load.impulse);
  EXPECT_EQ(used.last_filter, load.last_filter);
  EXPECT_EQ(used.last_prefilter, load.last_prefilter);
  EXPECT_EQ(used.old_lsp, load.old_lsp);

  EXPECT_EQ(used.lsf.past_q_target, before.lsf.past_q_target);
  EXPECT_NE(used.lsf.past_q_target, load.lsf.past_q_target);
  EXPECT_EQ(used.gains.past_qua_en, before.gains.past_qua_en);
  EXPECT_NE(used.gains.past_qua_en, load.gains.past_qua_en);
  EXPECT_EQ(used.decimator.mem, before.decimator.mem);
  EXPECT_NE(used.decimator.mem, load.decimator.mem);
  EXPECT_EQ(used.settings.nb_iter_selected, 3);

  used.lsf = {};
  used.gains = {};
  used.decimator = {};
  used.settings = {};
  WidebandEncoder fresh;
  for (std::size_t k = 0; k < 50; ++k) {
    ASSERT_EQ(encode_frame(used, x, k), encode_frame(fresh, x, k)) << k;
  }
}

TEST(CoderWb16, EncodersDoNotDisturbEachOther) {
  const auto x = speech16(30, 5), z = speech16(30, 6);
  const auto alone = encode(x);
  WidebandEncoder a, b;
  for (std::size_t k = 0; k < 30; ++k) {
    EXPECT_EQ(encode_frame(a, x, k), alone[k]);
    encode_frame(b, z, k);
  }
}

TEST(CoderWb16, ScratchPeak) {
  ScratchArea area;
  constexpr std::byte paint{0xa5};
  std::fill(std::begin(area.bytes), std::end(area.bytes), paint);
  {
    const ScratchSwitch on(area);
    encode(everything(3));
    EXPECT_EQ(i_heap, area.top());
  }
  EXPECT_EQ(test::scratch_used(area, paint), 3128u);
}

}  // namespace
}  // namespace quel
