#include "narrowband/acb27_15.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "acb_plain_search.h"
#include "acb_subframe.h"
#include "dsp/invsqrt.h"
#include "dsp/scratch.h"
#include "narrowband/d_acb.h"

namespace quel {
namespace {

using test::absurd_acb_subframe;
using test::acb_delta;
using test::acb_merit;
using test::acb_subframe;
using test::AcbSubframe;
using test::exhaustive_15;
using test::PlainSearch;
using test::Random;
using ::testing::ElementsAre;

using Words = std::array<std::int32_t, 3>;
using Vector = std::vector<float>;

// One of the two codebooks.
struct Codebook {
  void (*search)(float*, float*, const float*, std::int32_t*);
  void (*decode)(const std::int32_t*, const float*, float*);
  std::int32_t words;  // of one track
};
constexpr Codebook acb_27 = {ACB_27, dec_ACB_27, 512};
constexpr Codebook acb_15 = {ACB_15, dec_ACB_15, 32};

Words search(const Codebook& codebook, const float* dn, const float* res, const float* h) {
  float dn_copy[48], res_copy[48];
  std::copy_n(dn, 48, dn_copy);
  std::copy_n(res, 48, res_copy);
  Words words = {-2, -2, -2};
  codebook.search(dn_copy, res_copy, h, words.data());
  for (const std::int32_t word : words) {
    EXPECT_GE(word, 0);
    EXPECT_LT(word, codebook.words);
  }
  return words;
}

Words search(const Codebook& codebook, const AcbSubframe& s) {
  return search(codebook, s.dn, s.res, s.h);
}

Vector decode(const Codebook& codebook, const Words& words, const float* filt) {
  Vector out(48);
  codebook.decode(words.data(), filt, out.data());
  return out;
}

double merit_of(const Codebook& codebook, const Words& words, const AcbSubframe& s) {
  return acb_merit(s.x2, decode(codebook, words, s.h).data());
}

// In none of these subframes do two candidates lie within float rounding of each other (1 in 20000
// does), so the pulses must be the very same.
TEST(Acb27, ChoosesThePulsesOfAPlainSearchInDouble) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    const auto s = acb_subframe(seed);
    EXPECT_EQ(decode(acb_27, search(acb_27, s), acb_delta), PlainSearch(s).acb_27()) << seed;
  }
}

TEST(Acb15, ChoosesThePulsesOfAPlainSearchInDouble) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    const auto s = acb_subframe(seed);
    EXPECT_EQ(decode(acb_15, search(acb_15, s), acb_delta), PlainSearch(s).acb_15()) << seed;
  }
}

// Small whole numbers, which float and double both hold exactly and which tie everywhere: of the
// measures, of the pairs and of the rotations, the first found must stay.
AcbSubframe whole_number_subframe(unsigned seed) {
  Random random(seed);
  AcbSubframe s = {};
  s.h[0] = 1.0f;
  for (int n = 1; n < 5; ++n) s.h[n] = static_cast<float>(random.integer(-1, 1));
  for (float& x : s.x2) x = static_cast<float>(random.integer(-1, 1));
  backfil2(s.x2, s.dn, s.h, 48);
  std::copy_n(s.dn, 48, s.res);  // of equal energy, so that its weight is 1
  return s;
}

TEST(Acb27And15, OfEqualMeritsTheFirstFoundStays) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    const auto s = whole_number_subframe(seed);
    EXPECT_EQ(decode(acb_27, search(acb_27, s), acb_delta), PlainSearch(s).acb_27()) << seed;
    EXPECT_EQ(decode(acb_15, search(acb_15, s), acb_delta), PlainSearch(s).acb_15()) << seed;
  }
}

TEST(Acb27And15, BeatRandomWords) {
  Random random(11);
  for (const Codebook& codebook : {acb_27, acb_15}) {
    for (unsigned seed = 0; seed < 100; ++seed) {
      const auto s = acb_subframe(seed);
      const double found = merit_of(codebook, search(codebook, s), s);
      for (int i = 0; i < 100; ++i) {
        Words words;
        for (std::int32_t& word : words) word = random.integer(0, codebook.words - 1);
        EXPECT_GE(found, merit_of(codebook, words, s)) << seed;
      }
    }
  }
}

TEST(Acb15, FindsTheBestOfAllWordsInNearlyEverySubframe) {
  int missed = 0;
  for (unsigned seed = 0; seed < 100; ++seed) {
    const auto s = acb_subframe(seed);
    const double share = merit_of(acb_15, search(acb_15, s), s) / exhaustive_15(s);
    EXPECT_LE(share, 1 + 1e-4);  // the exhaustive search takes the rounded dn for exact
    if (share < 1 - 1e-4) ++missed;
  }
  EXPECT_LE(missed, 2);  // of 2000 subframes 17 miss it, at worst by an eighth
}

// A word is a set of pulses and nothing else, so where pulses do not overlap it comes back.
TEST(Acb27, GivesBackEveryTrackWordWherePulsesDoNotOverlap) {
  Random random(12);
  for (int track = 0; track < 3; ++track) {
    for (std::int32_t word = 0; word < 512; ++word) {
      Words words;
      for (std::int32_t& w : words) w = random.integer(0, 511);
      words[static_cast<std::size_t>(track)] = word;
      const Vector code = decode(acb_27, words, acb_delta);
      EXPECT_EQ(search(acb_27, code.data(), code.data(), acb_delta), words);
    }
  }
}

TEST(Acb15, GivesBackEveryWordWherePulsesDoNotOverlap) {
  for (std::int32_t bits = 0; bits < 1 << 15; bits += 7) {
    const Words words = {bits & 31, (bits >> 5) & 31, bits >> 10};
    const Vector code = decode(acb_15, words, acb_delta);
    EXPECT_EQ(search(acb_15, code.data(), code.data(), acb_delta), words);
  }
}

TEST(Acb27, TwoPulsesOnOnePositionGiveEqualNibblesAndDoubleAmplitude) {
  const Vector target = test::pulses({{9, 2}, {22, -2}, {47, 2}});
  const Words words = search(acb_27, target.data(), target.data(), acb_delta);
  EXPECT_THAT(words, ElementsAre(0x33, 0x177, 0xff));
  EXPECT_EQ(decode(acb_27, words, acb_delta), target);
}

TEST(Acb27, TwoPulsesOfDifferentSignPutTheLargerIndexFirst) {
  const Vector target = test::pulses({{3, 1}, {30, -1}, {1, -1}, {46, 1}, {11, 1}, {14, -1}});
  const Words words = search(acb_27, target.data(), target.data(), acb_delta);
  EXPECT_THAT(words, ElementsAre(0x1a1, 0x0f0, 0x143));
  EXPECT_EQ(decode(acb_27, words, acb_delta), target);
}

TEST(Acb27, TwoPulsesOfEqualSignPutTheSmallerIndexFirst) {
  const Vector target = test::pulses({{3, -1}, {30, -1}, {1, 1}, {46, 1}, {11, -1}, {14, -1}});
  const Words words = search(acb_27, target.data(), target.data(), acb_delta);
  EXPECT_THAT(words, ElementsAre(0x11a, 0x00f, 0x134));
  EXPECT_EQ(decode(acb_27, words, acb_delta), target);
}

TEST(Acb27, EqualMeasuresAndMeritsKeepTheFirst) {
  Vector dn(48, 1.0f), res(48, 1.0f);
  Words words;
  ACB_27(dn.data(), res.data(), acb_delta, words.data());
  EXPECT_THAT(words, ElementsAre(0x01, 0x01, 0x01));  // positions 0..5
  for (int n = 0; n < 48; ++n) {
    const float sel = res[static_cast<std::size_t>(n)];
    EXPECT_EQ(sel < 0.0f, n < 18);
  }
}

TEST(Acb15, EqualMeasuresAndMeritsKeepTheFirst) {
  Vector dn(48, -1.0f), work(48);
  Words words;
  ACB_15(dn.data(), work.data(), acb_delta, words.data());
  EXPECT_THAT(words, ElementsAre(16, 16, 16));  // positions 0, 1, 2, negative
  for (int n = 0; n < 48; ++n) {
    EXPECT_EQ(work[static_cast<std::size_t>(n)], n < 18 ? -1.0f : 1.0f);
  }
}

TEST(Acb27, ChangesTargetToItsSignedFormAndResidualToTheMeasure) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    auto s = acb_subframe(seed);
    const auto before = s;
    Words words;
    ACB_27(s.dn, s.res, s.h, words.data());
    // In single precision throughout: which pulses are preselected rests on every bit.
    float e_res = 0, e_dn = 0;
    for (int n = 0; n < 48; ++n) {
      e_res += before.res[n] * before.res[n];
      e_dn += before.dn[n] * before.dn[n];
    }
    const auto k = static_cast<float>(invsqrt(e_res / e_dn));
    for (int n = 0; n < 48; ++n) {
      const float v = 2.0f * before.dn[n] + k * before.res[n];
      EXPECT_EQ(s.dn[n], v < 0 ? -before.dn[n] : before.dn[n]);
      if (s.res[n] != -1.0f) {
        EXPECT_EQ(s.res[n], std::abs(v));
      }
    }
    for (int track = 0; track < 3; ++track) {
      int chosen = 0;
      for (int p = track; p < 48; p += 3) chosen += s.res[p] == -1.0f ? 1 : 0;
      EXPECT_EQ(chosen, 6);
    }
  }
}

TEST(Acb15, ChangesTargetToItsMagnitudeAndDoesNotReadItsWorkArray) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    auto s = acb_subframe(seed);
    const auto before = s;
    const Words expected = search(acb_15, s);
    Words words;
    std::fill_n(s.res, 48, std::numeric_limits<float>::quiet_NaN());
    ACB_15(s.dn, s.res, s.h, words.data());
    EXPECT_EQ(words, expected);
    for (int n = 0; n < 48; ++n) {
      EXPECT_EQ(s.dn[n], std::abs(before.dn[n]));
      if (s.res[n] != -1.0f) {
        EXPECT_EQ(s.res[n], s.dn[n]);
      }
    }
    EXPECT_EQ(std::count(s.res, s.res + 48, -1.0f), 18);
  }
}

TEST(Acb27, ResidualDecidesTheSignWhereTheTargetIsWeak) {
  // Position 0: target slightly negative, residual strongly positive.
  const Vector dn = test::pulses({{0, -1}, {3, 20}, {1, 20}, {4, 20}, {2, 20}, {5, 20}});
  const Vector res = test::pulses({{0, 40}, {3, 20}, {1, 20}, {4, 20}, {2, 20}, {5, 20}});
  Vector dn_out = dn, work = res;
  Words words;
  ACB_27(dn_out.data(), work.data(), acb_delta, words.data());
  EXPECT_EQ(dn_out, dn);  // every sign +1: position 0 stays negative
  dn_out = dn;
  ACB_15(dn_out.data(), work.data(), acb_delta, words.data());
  EXPECT_EQ(dn_out[0], 1.0f);
}

TEST(Acb27And15, SilenceGivesZeroWords) {
  const auto s = acb_subframe(1);
  const float zero[48] = {};
  for (const Codebook& codebook : {acb_27, acb_15}) {
    EXPECT_THAT(search(codebook, zero, zero, s.h), ElementsAre(0, 0, 0));
    EXPECT_THAT(search(codebook, zero, s.res, s.h), ElementsAre(0, 0, 0));
    EXPECT_THAT(search(codebook, zero, zero, zero), ElementsAre(0, 0, 0));
  }
}

TEST(Acb27, WithoutResidualTheTargetAloneDecides) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const auto s = acb_subframe(seed);
    const float zero[48] = {};
    // A residual like the target gives the same signs and the same order of the measures.
    EXPECT_EQ(search(acb_27, s.dn, zero, s.h), search(acb_27, s.dn, s.dn, s.h));
  }
}

TEST(Acb27And15, TargetThatIsNoNumberGivesZeroWords) {
  const auto s = acb_subframe(1);
  const Vector nan(48, std::numeric_limits<float>::quiet_NaN());
  for (const Codebook& codebook : {acb_27, acb_15}) {
    EXPECT_THAT(search(codebook, nan.data(), s.res, s.h), ElementsAre(0, 0, 0));
  }
}

TEST(Acb27And15, AbsurdInputStillGivesWordsAndReturnsTheScratch) {
  const std::byte* const top = i_heap;
  for (int kind = 0; kind < 500; ++kind) {
    search(acb_27, absurd_acb_subframe(kind));  // looks at the range
    search(acb_15, absurd_acb_subframe(kind));
  }
  EXPECT_EQ(i_heap, top);
}

TEST(Acb27And15, StayWithinTheirShareOfTheScratch) {
  // The encoder above holds about 750 floats of the 2047.
  const auto s = acb_subframe(1);
  for (const Codebook& codebook : {acb_27, acb_15}) {
    ScratchArea area;
    std::fill_n(area.bytes, scratch_bytes, std::byte{0xa5});
    {
      const ScratchSwitch scope(area);
      search(codebook, s);
    }
    const std::byte* const deepest =
        std::find_if(area.bytes, area.top(), [](std::byte b) { return b != std::byte{0xa5}; });
    EXPECT_LE(area.top() - deepest, 1250 * 4);
  }
}

}  // namespace
}  // namespace quel
