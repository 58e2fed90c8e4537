#include "narrowband/dec_5swt.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "narrowband/dec_swt.h"
#include "narrowband/memories.h"
#include "narrowband/plain_narrowband.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::encode;
using test::memories;
using test::mode_for;
using test::PlainDecoder;
using test::Random;
using test::random_words;
using test::speech_like_pcm;
using test::Words;
using ::testing::Each;
using ::testing::ElementsAreArray;

using Pcm = std::vector<std::int16_t>;

struct Decoder {
  NarrowbandDecoderShared shared;
  SwtDecoder swt;
  FiveKDecoder five;

  Decoder() {
    init_dec_swt(swt, shared);
    init_decoder_5k(five, shared);
  }
  // Hands over exactly the 20 words that the decoder may read.
  Pcm frame(const Words& prm, int bfi_in) {
    const std::vector<std::int32_t> words(prm.begin() + 1, prm.end());
    Pcm out(240);
    decoder_5k(five, shared, mode_for(2), words.data(), out.data(), bfi_in);
    return out;
  }
};

void expect_in_step(const Decoder& d, const PlainDecoder& plain) {
  EXPECT_THAT(
      std::vector<float>(d.five.synthesis.old_exc.begin(), d.five.synthesis.old_exc.begin() + 154),
      ElementsAreArray(plain.exc.end() - 154, plain.exc.end()));
  EXPECT_THAT(d.five.mem_syn1, ElementsAreArray(plain.synthesis.end() - 10, plain.synthesis.end()));
  EXPECT_EQ(d.five.old_pitch, plain.old_lag);
  EXPECT_EQ(d.five.old_gain_pit, plain.old_gain_pit);
  EXPECT_EQ(d.shared.seed, plain.seed);
  EXPECT_EQ(d.shared.gains.past_qua_en, plain.gains.past_qua_en);
  EXPECT_THAT(d.five.synthesis.isfold, ElementsAreArray(plain.isp_old));
}

// A decoder and, beside it, the excitation rebuilt from the words; `modes` is what each call used.
struct Stream {
  Decoder decoder;
  PlainDecoder plain;
  Words held{2};
  bool held_lost = true, before_received = false;
  std::vector<int> modes;

  // Which parameters and which mode the frame before the one handed over gets, by the rule.
  void call(const Words& prm, bool lost) {
    int mode = 0;
    if (held_lost) mode = !lost && before_received ? 1 : 2;
    decoder.frame(prm, lost ? 1 : 0);
    plain.frame(mode_for(2), mode == 1 ? prm : held, mode);
    expect_in_step(decoder, plain);
    modes.push_back(decoder.five.old_bfi);
    EXPECT_EQ(modes.back(), mode);
    held = prm;
    held_lost = lost;
    before_received = mode == 0;
  }
};

TEST(Decoder5k, LoadIsZeroAndInitSetsTheStart) {
  NarrowbandDecoderShared shared;
  FiveKDecoder five;
  EXPECT_EQ(five.bfi, 0);
  EXPECT_EQ(five.old_bfi, 0);
  EXPECT_THAT(memories(five), Each(0.0f));
  shared.seed = 77;
  five.cur_prm.fill(5);
  init_decoder_5k(five, shared);
  EXPECT_EQ(five.bfi, 1);
  EXPECT_EQ(five.old_bfi, 1);
  EXPECT_EQ(five.old_pitch, 180.0f);
  EXPECT_EQ(five.gain_control.gain_prec, 1.0f);
  EXPECT_EQ(shared.seed, 77);
  EXPECT_THAT(five.cur_prm, Each(5));
  EXPECT_THAT(five.synthesis.isfold,
              ElementsAreArray({0.9595f, 0.8413f, 0.6549f, 0.4154f, 0.1423f, -0.1423f, -0.4154f,
                                -0.6549f, -0.8413f, -0.9595f}));
  EXPECT_THAT(shared.gains.past_qua_en, Each(-14.0f));
}

TEST(Decoder5k, InitForgetsTheStream) {
  Decoder used, fresh;
  Random random(1);
  for (int k = 0; k < 30; ++k) used.frame(random_words(2, random), k % 3 == 0 ? 1 : 0);
  init_decoder_5k(used.five, used.shared);
  used.shared.seed = fresh.shared.seed;
  EXPECT_EQ(memories(used.five), memories(fresh.five));
  for (const Words& prm : encode(2, speech_like_pcm(1440, 2))) {
    EXPECT_EQ(used.frame(prm, 0), fresh.frame(prm, 0));
  }
}

TEST(Decoder5k, FirstCallConcealsWithTheLagRisingFrom60) {
  Stream stream;
  Words prm = encode(2, speech_like_pcm(240, 3))[0];
  stream.call(prm, false);
  EXPECT_EQ(stream.modes[0], 2);
  std::vector<int> thirds;
  for (const auto& sub : stream.plain.subframes) thirds.push_back(sub.thirds);
  EXPECT_EQ(thirds, (std::vector<int>{183, 186, 189, 192, 195}));
  EXPECT_EQ(stream.decoder.five.old_pitch, 195.0f);
}

TEST(Decoder5k, FirstOutputIsSilent) {
  Decoder d;
  EXPECT_THAT(d.frame(encode(2, speech_like_pcm(240, 3))[0], 0), Each(0));
}

TEST(Decoder5k, SpeechMovesTheExcitationAsTheWordsSay) {
  Stream stream;
  for (const Words& prm : encode(2, speech_like_pcm(14400, 4))) stream.call(prm, false);
}

TEST(Decoder5k, IsolatedLossUsesTheNextFrame) {
  const auto frames = encode(2, speech_like_pcm(2400, 5));
  Stream stream;
  for (std::size_t k = 0; k < frames.size(); ++k) stream.call(frames[k], k == 4);
  EXPECT_EQ(stream.modes, (std::vector<int>{2, 0, 0, 0, 0, 1, 0, 0, 0, 0}));
}

TEST(Decoder5k, TwoLossesInARowUseNeitherNeighbour) {
  const auto frames = encode(2, speech_like_pcm(2400, 6));
  Stream stream;
  for (std::size_t k = 0; k < frames.size(); ++k) stream.call(frames[k], k == 4 || k == 5);
  EXPECT_EQ(stream.modes, (std::vector<int>{2, 0, 0, 0, 0, 2, 2, 0, 0, 0}));
}

TEST(Decoder5k, EverySecondFrameLostIsIsolatedEachTime) {
  const auto frames = encode(2, speech_like_pcm(2400, 7));
  Stream stream;
  for (std::size_t k = 0; k < frames.size(); ++k) stream.call(frames[k], k % 2 == 1);
  EXPECT_EQ(stream.modes, (std::vector<int>{2, 0, 1, 0, 1, 0, 1, 0, 1, 0}));
}

TEST(Decoder5k, AFrameLostRightAfterTheStartHasNoFrameBefore) {
  const auto frames = encode(2, speech_like_pcm(960, 8));
  Stream stream;
  stream.call(frames[0], true);
  stream.call(frames[1], false);
  stream.call(frames[2], false);
  EXPECT_EQ(stream.modes, (std::vector<int>{2, 2, 0}));
}

// The words of a lost frame do not matter: nothing of them is used, then or later.
TEST(Decoder5k, WordsOfLostFramesDoNotMatter) {
  const auto frames = encode(2, speech_like_pcm(4800, 9));
  Decoder a, b;
  Random random(3);
  for (std::size_t k = 0; k < frames.size(); ++k) {
    const int lost = k % 5 == 2 || k % 7 > 4 ? 1 : 0;
    Words garbage = frames[k];
    if (lost != 0) {
      for (auto& word : garbage) word = static_cast<std::int32_t>(random.bits());
    }
    EXPECT_EQ(a.frame(frames[k], lost), b.frame(garbage, lost));
  }
}

// The plain decoder guards nothing, so 24 frames at a time keep clear of absurd values.
TEST(Decoder5k, RandomWordsAndLossesMoveTheExcitationAsTheWordsSay) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Stream stream;
    for (int k = 0; k < 24; ++k) {
      stream.call(random_words(2, random), random.integer(0, 2) == 0);
    }
  }
}

TEST(Decoder5k, IsolatedLossWalksASixthOfTheWayPerSubframe) {
  Words steady = encode(2, speech_like_pcm(240, 10))[0];
  for (const std::size_t word : {6u, 12u}) steady[word] = 100 + 112;
  for (const std::size_t word : {9u, 15u, 18u}) steady[word] = 17;  // the same lag
  Words next = steady;
  next[6] = 130 + 112;
  Stream stream;
  stream.call(steady, false);
  stream.call(steady, true);
  stream.call(next, false);
  EXPECT_EQ(stream.modes, (std::vector<int>{2, 0, 1}));
  std::vector<int> thirds;
  for (std::size_t s = 10; s < 15; ++s) thirds.push_back(stream.plain.subframes[s].thirds);
  EXPECT_EQ(thirds, (std::vector<int>{315, 330, 345, 360, 375}));  // from 300 towards 390
}

TEST(Decoder5k, RepeatedLossesRaiseTheLagByOneAndHoldItAt143) {
  Decoder d;
  for (int k = 1; k < 200; ++k) {
    d.frame({}, 1);
    EXPECT_EQ(d.five.old_pitch, 180.0f + 15.0f * static_cast<float>(k));
  }
}

// Past 143 the lag is held and the fraction carries the rest; then an isolated loss, whose walk
// starts from the frame between.
TEST(Decoder5k, FractionsAbove1AfterLongLossesStayInsideTheTables) {
  const auto frames = encode(2, speech_like_pcm(7200, 11));
  Stream stream;
  for (std::size_t k = 0; k < frames.size(); ++k) stream.call(frames[k], k % 15 > 3 && k % 15 != 9);
}

TEST(Decoder5k, IsolatedLossFromTheLongestLag) {
  Words longest = encode(2, speech_like_pcm(240, 11))[0];
  longest[6] = longest[12] = 255;
  for (const std::size_t word : {9u, 15u, 18u}) longest[word] = 31;  // 143 2/3
  Stream stream;
  stream.call(longest, false);
  stream.call(longest, true);
  stream.call(longest, false);
  EXPECT_EQ(stream.modes.back(), 1);
  // 143 2/3, then a sixth of the way to 143: 430.67 thirds, truncated to 143 1/3.
  EXPECT_EQ(stream.plain.subframes[9].thirds, 431);
  EXPECT_EQ(stream.plain.subframes[10].thirds, 430);
  stream.call(longest, false);
}

TEST(Decoder5k, PreviousGainOfExactlyPoint8SelectsTwoPulses) {
  const auto prm = encode(2, speech_like_pcm(240, 12))[0];
  const auto excitation_after = [&](float gain) {
    Stream stream;
    stream.call(prm, false);
    stream.decoder.five.old_gain_pit = stream.plain.old_gain_pit = gain;
    stream.call(prm, false);
    return stream.plain.exc;
  };
  EXPECT_EQ(excitation_after(0.8f), excitation_after(1.2f));
  EXPECT_EQ(excitation_after(std::nextafter(0.8f, 0.0f)), excitation_after(0.0f));
  EXPECT_NE(excitation_after(0.8f), excitation_after(0.0f));
}

TEST(Decoder5k, LostFramesDrawFiveRandomWordsFromTheSharedSeed) {
  Decoder d;
  std::int16_t seed = 21845;
  d.frame({2}, 0);  // concealed from the reset state
  for (int i = 0; i < 5; ++i) random_func(seed);
  EXPECT_EQ(d.shared.seed, seed);
  d.frame({2}, 0);
  EXPECT_EQ(d.shared.seed, seed);
}

// Postfilter and gain control in double over the rebuilt excitation; the float memories may turn a
// value that lies next to a rounding limit, hence one step.
TEST(Decoder5k, OutputIsThePostfilteredSynthesis) {
  Decoder d;
  PlainDecoder plain;
  Pcm out;
  const auto frames = encode(2, speech_like_pcm(7200, 13));
  for (const Words& prm : frames) {
    const auto frame = d.frame(prm, 0);
    out.insert(out.end(), frame.begin(), frame.end());
  }
  plain.frame(mode_for(2), {2}, 2);
  for (std::size_t k = 0; k + 1 < frames.size(); ++k) plain.frame(mode_for(2), frames[k], 0);

  double har = 0, gain = 1, last = 0;
  std::vector<double> pole(10), tilted(10), y(10), scaled;
  std::size_t n = 154, m = 10;
  for (const auto& sub : plain.subframes) {
    const double beta = std::min(0.5 * sub.gain_pit * sub.gain_pit, 0.4);
    har = std::min(0.7 * har + 0.3 * beta, beta);
    double e[48], u[48];
    for (std::size_t i = 0; i < 48; ++i) e[i] = plain.exc[n++] - sub.gain_code * har * sub.code[i];
    test::plain_all_pole(sub.A, 0.75, e, pole);
    for (std::size_t i = pole.size() - 48; i < pole.size(); ++i) {
      tilted.push_back(pole[i] - 0.4 * last);
      last = pole[i];
    }
    for (std::size_t i = 0; i < 48; ++i) {
      u[i] = 0;
      for (std::size_t k = 0; k <= 10; ++k) {
        const double power = std::pow(0.5, static_cast<double>(k));
        u[i] += power * sub.A[k] * tilted[tilted.size() - 48 + i - k];
      }
    }
    test::plain_all_pole(sub.A, 1.0, u, y);
    double energy = 0, reference = 0;
    for (std::size_t i = 0; i < 48; ++i, ++m) {
      energy += y[y.size() - 48 + i] * y[y.size() - 48 + i];
      reference += static_cast<double>(plain.synthesis[m]) * plain.synthesis[m];
    }
    const double wanted = energy > 0 ? std::sqrt(reference / energy) : 0;
    if (energy == 0) gain = 0;
    for (std::size_t i = 0; i < 48; ++i) {
      if (energy > 0) gain = 0.9 * gain + 0.1 * wanted;
      scaled.push_back(y[y.size() - 48 + i] * gain);
    }
  }
  const auto expected = test::plain_output(scaled);
  int differ = 0;
  for (std::size_t i = 0; i < out.size(); ++i) {
    ASSERT_NEAR(out[i], expected[i], 1);
    differ += out[i] != expected[i] ? 1 : 0;
  }
  EXPECT_LT(differ, 72);  // one in a hundred
}

// The look-ahead of the encoder and this decoder's own frame: 120 + 240 samples.
TEST(Decoder5k, OutputIsLateBy360Samples) {
  const auto pcm = speech_like_pcm(24000, 14);
  Decoder d;
  Pcm out;
  for (const Words& prm : encode(2, pcm)) {
    const auto frame = d.frame(prm, 0);
    out.insert(out.end(), frame.begin(), frame.end());
  }
  std::vector<float> passed(pcm.begin(), pcm.end());
  float memx[2] = {}, memy[2] = {};
  hp_2nd(passed.data(), static_cast<int>(passed.size()), a_200, b_200, memx, memy);
  const auto filtered = test::plain_output({passed.begin(), passed.end()});
  int best = -1;
  double highest = 0;
  for (int delay = 0; delay < 700; ++delay) {
    double sum = 0;
    for (std::size_t i = 0; i + static_cast<std::size_t>(delay) < out.size(); ++i) {
      sum += static_cast<double>(filtered[i]) * out[i + static_cast<std::size_t>(delay)];
    }
    if (sum > highest) {
      highest = sum;
      best = delay;
    }
  }
  EXPECT_EQ(best, 360);
}

TEST(Decoder5k, ScratchPeak) {
  test::ScratchGauge gauge;
  Decoder d;
  Random random(7);
  for (int k = 0; k < 200; ++k) d.frame(random_words(2, random), k % 3 == 0 ? 1 : 0);
  EXPECT_EQ(gauge.deepest(), 2648);  // of 8188
}

TEST(Decoder5k, NothingIsReadFromScratchUnwritten) {
  Decoder a, b;
  ScratchArea area;
  std::fill_n(area.bytes, scratch_bytes, std::byte{0xff});  // as floats, NaN
  Random random(8);
  for (int k = 0; k < 60; ++k) {
    const Words prm = random_words(2, random);
    const auto expected = a.frame(prm, k % 4 == 0 ? 1 : 0);
    const ScratchSwitch use(area);
    EXPECT_EQ(b.frame(prm, k % 4 == 0 ? 1 : 0), expected);
  }
}

}  // namespace
}  // namespace quel
