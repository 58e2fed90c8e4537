#include "wideband/dec_wb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "dsp/pcm.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "support/signals.h"
#include "wideband/dec_wb_support.h"
#include "wideband/frames.h"

namespace quel {
namespace {

using test::decode;
using test::encode;
using test::expect_like_plain;
using test::finite_state;
using test::lost;
using test::past;
using test::Pcm;
using test::Random;
using test::random_words;
using test::same_state;
using test::speech16;
using test::Words;

TEST(DecodWb, FollowsThePlainFormulationOnSpeech) {
  const auto frames = encode(speech16(150, 1));
  WidebandDecoder decoder;
  for (const Words& words : frames) {
    const WidebandDecoder before = decoder;
    const Pcm out = decode(decoder, words);
    expect_like_plain(before, words, decoder, out);
  }
}

TEST(DecodWb, TopPitchGainSharpensWithExactlyOne) {
  Random random(2);
  const auto frames = encode(speech16(100, 2));
  WidebandDecoder decoder;
  decode(decoder, frames);
  for (int trial = 0; trial < 40; ++trial) {
    Words words = random_words(random);
    words[7] = random.integer(0, 100);  // lags 29 to 63: the code is sharpened
    words[8] = words[16] = 15;
    words[14] = words[22] = random.integer(0, 15);
    const WidebandDecoder before = decoder;
    WidebandDecoder after = decoder;
    const Pcm out = decode(after, words);
    expect_like_plain(before, words, after, out);
  }
}

TEST(DecodWb, FrameOfZeroWordsDecodes) {
  WidebandDecoder decoder;
  const WidebandDecoder before = decoder;
  const Pcm out = decode(decoder, Words{});
  EXPECT_EQ(decoder.lag.T0_min, 30);
  EXPECT_EQ(decoder.lag.old_T0, 29);  // second lag: code 0 of a window from 30
  EXPECT_TRUE(finite_state(decoder));
  expect_like_plain(before, Words{}, decoder, out);
}

TEST(DecodWb, OutputRoundsUpByTruncationAndClips) {
  EXPECT_EQ(float_to_pcm(-0.7f), 0);
  EXPECT_EQ(float_to_pcm(32767.6f), 32767);
  EXPECT_EQ(float_to_pcm(-40000.0f), -32768);
  // A decoder driven beyond 16 bits clips: nothing wraps to the other sign.
  WidebandDecoder decoder;
  const auto frames = encode(speech16(60, 3));
  decode(decoder, frames);
  for (float& v : decoder.exc) v *= 1000.0f;
  Words words = frames.back();
  words[8] = words[16] = 11;
  const WidebandDecoder before = decoder;
  const Pcm out = decode(decoder, words);
  expect_like_plain(before, words, decoder, out);
  EXPECT_EQ(*std::max_element(out.begin(), out.end()), 32767);
  EXPECT_EQ(*std::min_element(out.begin(), out.end()), -32768);
}

TEST(DecodWb, IdenticalFiltersMakeTheCrossFadeInvisible) {
  Random random(4);
  for (int trial = 0; trial < 20; ++trial) {
    SCOPED_TRACE(trial);
    const Words first = random_words(random);
    WidebandDecoder decoder;
    for (int k = 0; k < 4; ++k) {
      Words words = random_words(random);
      std::copy_n(first.begin() + 1, 6, words.begin() + 1);
      words[8] = words[16] = 5;
      words[14] = words[22] = 12;
      decode(decoder, words);
    }
    Words words = first;
    words[8] = words[16] = 5;
    words[14] = words[22] = 12;
    WidebandDecoder before = decoder;
    const Pcm out = decode(decoder, words);
    ASSERT_EQ(decoder.last_filter, before.last_filter);
    ASSERT_EQ(decoder.last_postfilter, before.last_postfilter);
    // With a single filter throughout there is nothing to fade, and the samples are the same.
    std::array<float, 160> y;
    syn_filt(decoder.last_filter.data(), 16, decoder.exc.data() + past - 160, y.data(), 160,
             before.mem_syn.data(), 0);
    syn_filt(decoder.last_postfilter.data(), 16, y.data(), y.data(), 160, before.mem_post.data(),
             0);
    for (std::size_t n = 0; n < 160; ++n) EXPECT_EQ(out[n], float_to_pcm(y[n]));
  }
}

TEST(DecodWb, WordsAreCutToTheirFields) {
  Random random(5);
  WidebandDecoder a, b;
  for (int k = 0; k < 100; ++k) {
    Words words = random_words(random), wide = words;
    for (std::size_t i = 0; i < 22; ++i) {
      wide[i + 1] |= static_cast<std::int32_t>(random.bits() << test::word_bits[i]);
    }
    wide[0] = words[0] = k % 5 == 4 ? 1 : 0;
    EXPECT_EQ(decode(a, words), decode(b, wide));
  }
  EXPECT_TRUE(same_state(a, b));
}

TEST(InitDecodWb, ResetsTheSignalAndLeavesThePredictors) {
  const auto frames = encode(speech16(60, 18));
  WidebandDecoder used;
  const WidebandDecoder load;
  decode(used, frames);
  decode(used, lost());
  const WidebandDecoder before = used;
  init_decod_wb(used);
  WidebandDecoder expected = load;
  expected.lsf = before.lsf;
  expected.lag = before.lag;
  expected.gains = before.gains;
  expected.random = before.random;
  EXPECT_TRUE(same_state(used, expected));
  EXPECT_FALSE(same_state(used, load));
}

TEST(DecodWb, DecodersDoNotDisturbEachOther) {
  const auto frames = encode(speech16(40, 19)), others = encode(speech16(40, 20));
  WidebandDecoder alone, a, b;
  for (std::size_t k = 0; k < 40; ++k) {
    const Words words = k % 6 == 5 ? lost() : frames[k];
    EXPECT_EQ(decode(alone, words), decode(a, words));
    decode(b, k % 5 == 4 ? lost() : others[k]);
  }
}

TEST(DecodWb, ScratchPeak) {
  const auto frames = encode(speech16(60, 21));
  ScratchArea area;
  constexpr std::byte paint{0xa5};
  std::fill(std::begin(area.bytes), std::end(area.bytes), paint);
  {
    const ScratchSwitch on(area);
    WidebandDecoder decoder;
    decode(decoder, frames);
    for (int k = 0; k < 5; ++k) decode(decoder, lost());
    decode(decoder, frames);
    EXPECT_EQ(i_heap, area.top());
  }
  EXPECT_EQ(test::scratch_used(area, paint), 1228u);
}

}  // namespace
}  // namespace quel
