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
