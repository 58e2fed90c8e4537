#include "narrowband/effort.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <tuple>
#include <vector>

#include "bitstream/flavor.h"
#include "narrowband/dec_5swt.h"
#include "narrowband/dec_swt.h"
#include "narrowband/memories.h"
#include "narrowband/plain_narrowband.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::memories;
using test::mode_for;
using test::speech_like_pcm;
using test::Words;
using ::testing::ElementsAreArray;

using Pcm = std::vector<std::int16_t>;

// An encoder of some effort and the decoder of its words.
class Pair {
 public:
  Pair(int flavor, int level) : flavor_(flavor), mode_(mode_for(flavor)) {
    init_cod_swt(encoder);
    effort->level = level;
    init_dec_swt(swt, shared);
    init_decoder_5k(five_k, shared);
  }

  std::size_t length() const { return static_cast<std::size_t>(mode_.len_frame); }

  Words code(const std::int16_t* in) {
    Words prm{flavor_};
    if (effort->level > 0) {
      cod_swt(encoder, *effort, mode_, in, prm.data());
    } else {
      cod_swt(encoder, mode_, in, prm.data());
    }
    return prm;
  }
  std::vector<Words> code_all(const Pcm& pcm) {
    std::vector<Words> frames;
    for (std::size_t n = 0; n + length() <= pcm.size(); n += length()) {
      frames.push_back(code(&pcm[n]));
    }
    return frames;
  }
  Pcm decode(Words prm) {
    Pcm out(length());
    if (flavor_ == 2 && five_k.bfi != 0) {
      // It runs a frame behind, and would make up for one that there never was.
      five_k.bfi = five_k.old_bfi = 0;
      std::copy_n(prm.begin() + 1, FiveKDecoder::words, five_k.cur_prm.begin());
      return out;
    }
    const int cleared = flavor_ == 2
                            ? decoder_5k(five_k, shared, mode_, prm.data() + 1, out.data(), 0)
                            : dec_swt(swt, shared, mode_, prm.data(), out.data(), 0);
    EXPECT_EQ(cleared, 0);
    return out;
  }

  NarrowbandEncoder encoder;
  std::unique_ptr<NarrowbandEffort> effort = std::make_unique<NarrowbandEffort>();
  NarrowbandDecoderShared shared;
  SwtDecoder swt;
  FiveKDecoder five_k;

 private:
  int flavor_;
  Mode mode_;
};

class Effort : public ::testing::TestWithParam<std::tuple<int, int>> {
 protected:
  int flavor() const { return std::get<0>(GetParam()); }
  int level() const { return std::get<1>(GetParam()); }
};
INSTANTIATE_TEST_SUITE_P(All, Effort,
                         ::testing::Combine(::testing::Range(0, 3), ::testing::Range(1, 4)));

template <typename Array>
std::vector<float> past(const Array& x) {
  return {x.begin(), x.begin() + 154};
}

// Frame for frame and to the bit. Of effort 0 this does not hold: its pulses are shaped by the
// unquantised filter.
TEST_P(Effort, TheEncodersExcitationIsTheDecoders) {
  for (unsigned seed = 0; seed < 3; ++seed) {
    SCOPED_TRACE(seed);
    Pair pair(flavor(), level());
    const Pcm pcm = speech_like_pcm(14400, seed);
    std::vector<float> before(154);
    std::array<float, 4> gains_before{};
    for (std::size_t n = 0; n + pair.length() <= pcm.size(); n += pair.length()) {
      const Words words = pair.code(&pcm[n]);
      pair.decode(words);
      if (flavor() == 2) {
        if (n > 0) {
          ASSERT_EQ(past(pair.five_k.synthesis.old_exc), before) << n;
          ASSERT_EQ(pair.shared.gains.past_qua_en, gains_before);
        }
      } else {
        ASSERT_EQ(past(pair.swt.synthesis.old_exc), past(pair.encoder.exc)) << n;
        ASSERT_EQ(pair.shared.gains.past_qua_en, pair.encoder.gains.past_qua_en);
      }
      before = past(pair.encoder.exc);
      gains_before = pair.encoder.gains.past_qua_en;
    }
  }
}

// What the search adds up over a frame, and what it remembers for the next one, is the error of
// what a decoder makes of the words, through A(z/0.94)/A(z/0.6) of the unquantised filters.
// Reckoned here from the words, over the whole signal.
TEST_P(Effort, WeighsAndRemembersTheErrorOfTheDecodersSynthesis) {
  const Mode mode = mode_for(flavor());
  for (unsigned seed = 0; seed < 3; ++seed) {
    SCOPED_TRACE(seed);
    Pair pair(flavor(), level());
    test::PlainAnalysis analysis;
    test::PlainDecoder decoder;
    std::vector<double> error(10), weighted(10);
    const Pcm pcm = speech_like_pcm(7200, seed);
    for (std::size_t n = 0; n + pair.length() <= pcm.size(); n += pair.length()) {
      SCOPED_TRACE(n);
      const Words words = pair.code(&pcm[n]);
      const auto filters = analysis.frame(mode, &pcm[n]);
      decoder.frame(mode, words, 0);
      const float* speech = &*analysis.speech.end() - 120 - pair.length();
      double sum = 0.0, loud = 0.0;
      for (std::size_t i = 0; i < pair.length(); ++i) {
        const float* a = &filters[i / 48 * 11];
        const double synthesis = decoder.synthesis[10 + n + i];
        error.push_back(speech[i] - synthesis);
        double now = error.back();
        for (std::size_t j = 1; j <= 10; ++j) {
          const auto power = static_cast<double>(j);
          now += a[j] * std::pow(0.94, power) * error[error.size() - 1 - j] -
                 a[j] * std::pow(0.6, power) * weighted[weighted.size() - j];
        }
        weighted.push_back(now);
        sum += now * now;
        loud = std::max(loud, std::fabs(synthesis));
      }
      // The search subtracts filtered signals in single precision.
      const double tolerance = 1e-4 * loud;
      for (std::size_t j = 0; j < 10; ++j) {
        ASSERT_NEAR(pair.encoder.mem_err[j], error[error.size() - 10 + j], tolerance);
        ASSERT_NEAR(pair.encoder.mem_w0[j], weighted[weighted.size() - 10 + j], tolerance);
      }
      // It starts each sum of products with 0.01, which the gains then multiply.
      for (std::size_t k = decoder.subframes.size() - pair.length() / 48;
           k < decoder.subframes.size(); ++k) {
        const double gain_pit = decoder.subframes[k].gain_pit;
        const double gain_code = decoder.subframes[k].gain_code;
        sum += 0.01 * (gain_pit * gain_pit + gain_pit + gain_code * gain_code - 2 * gain_code +
                       2 * gain_pit * gain_code);
      }
      ASSERT_NEAR(pair.effort->search.cost(0), sum, 1e-4 * sum);
    }
  }
}

// Speech minus synthesis, and the words' range, whatever comes in.
TEST_P(Effort, EverySignalGivesValidWordsAndSaneSound) {
  std::vector<Pcm> signals(6, Pcm(4800));
  test::Random random(5);
  for (std::size_t n = 0; n < 4800; ++n) {
    signals[1][n] = n % 2 == 0 ? 32767 : -32768;
    signals[2][n] = static_cast<std::int16_t>(random.integer(-32768, 32767));
    signals[3][n] = n % 611 == 17 ? 32767 : 0;
    signals[4][n] = -32768;
    signals[5][n] = static_cast<std::int16_t>(n / 400 % 2 == 0 ? 0 : random.integer(-1, 1));
  }
  const auto fields = flavors[static_cast<std::size_t>(flavor())].fields;
  for (std::size_t k = 0; k < signals.size(); ++k) {
    SCOPED_TRACE(k);
    Pair pair(flavor(), level());
    for (const Words& words : pair.code_all(signals[k])) {
      for (std::size_t i = 0; i < fields.size(); ++i) {
        ASSERT_GE(words[1 + i], 0);
        ASSERT_EQ(words[1 + i] >> fields[i], 0);
      }
      pair.decode(words);
    }
    for (const float value : memories(pair.encoder)) ASSERT_TRUE(std::isfinite(value));
  }
}

TEST_P(Effort, InitForgetsEverything) {
  Pair used(flavor(), level()), fresh(flavor(), level());
  const Pcm pcm = speech_like_pcm(4800, 1);
  used.code_all(speech_like_pcm(4800, 2));
  init_cod_swt(used.encoder);
  EXPECT_EQ(used.code_all(pcm), fresh.code_all(pcm));
}

// The work area's content is no state: another one gives the same.
TEST_P(Effort, NothingOfTheWorkAreaOutlivesAFrame) {
  Pair one(flavor(), level()), other(flavor(), level()), spoiler(flavor(), level());
  const Pcm pcm = speech_like_pcm(7200, 3);
  for (std::size_t n = 0; n + one.length() <= pcm.size(); n += one.length()) {
    spoiler.code(&pcm[(n * 7) % (pcm.size() - one.length())]);
    *other.effort = *spoiler.effort;
    ASSERT_EQ(one.code(&pcm[n]), other.code(&pcm[n]));
  }
}

}  // namespace
}  // namespace quel
