#include "narrowband/pulse_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "dsp/convolve.h"
#include "narrowband/acb27_15.h"
#include "narrowband/acb_subframe.h"
#include "narrowband/d_acb.h"
#include "narrowband/d_acb_5k.h"
#include "support/signals.h"

namespace quel::narrowband {
namespace {

using test::Random;

// A subframe with an adaptive vector that is part of the target.
struct Case {
  test::AcbSubframe s;
  float y1[48];   // filtered adaptive vector
  float dn[48];   // target less y1 at its best gain, filtered backwards
  float dn1[48];  // y1 filtered backwards
  float weight;

  explicit Case(unsigned seed) : s(test::acb_subframe(seed)) {
    Random random(seed + 1000);
    float adaptive[48];
    for (float& v : adaptive) v = static_cast<float>(100 * random.gauss());
    convolve(adaptive, s.h, y1, 48);
    double xy = 0.0, yy = 0.0;
    for (int n = 0; n < 48; ++n) s.x2[n] += 0.7f * y1[n];
    for (int n = 0; n < 48; ++n) {
      xy += static_cast<double>(s.x2[n]) * y1[n];
      yy += static_cast<double>(y1[n]) * y1[n];
    }
    float rest[48];
    for (int n = 0; n < 48; ++n) rest[n] = static_cast<float>(s.x2[n] - xy / yy * y1[n]);
    backfil2(rest, dn, s.h, 48);
    backfil2(y1, dn1, s.h, 48);
    weight = static_cast<float>(1.0 / yy);
  }

  PulseTarget target() const { return {dn, dn1, weight, s.h}; }

  // The part of the target's energy that y1 and y2 take away together, beyond what y1 does alone,
  // in double; negative where the code's gain would have to be.
  double merit(const float* y2) const {
    double x1 = 0, x2 = 0, e1 = 0, e2 = 0, e12 = 0;
    for (int n = 0; n < 48; ++n) {
      x1 += static_cast<double>(s.x2[n]) * y1[n];
      x2 += static_cast<double>(s.x2[n]) * y2[n];
      e1 += static_cast<double>(y1[n]) * y1[n];
      e2 += static_cast<double>(y2[n]) * y2[n];
      e12 += static_cast<double>(y1[n]) * y2[n];
    }
    const double across = x2 - x1 * e12 / e1;
    const double value = across * across / (e2 - e12 * e12 / e1);
    return across < 0 ? -value : value;
  }
};

double largest(const Case& c, std::int32_t words,
               const std::function<void(std::int32_t, const float*, float*)>& rebuild) {
  double best = 0.0;
  float y2[48];
  for (std::int32_t word = 0; word < words; ++word) {
    rebuild(word, c.s.h, y2);
    best = std::max(best, c.merit(y2));
  }
  return best;
}

constexpr double rounding = 1e-4;  // single-precision correlations against double

TEST(PulseSearch, OppositePairsAndSparseTriplesAreTheBestOfAllWords) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    const Case c(seed);
    std::int32_t word = -1;
    float y2[48];
    search_opposite_pair(c.target(), &word);
    dec_acb_2p10b(word, c.s.h, y2);
    EXPECT_GE(c.merit(y2), (1 - rounding) * largest(c, 1024, dec_acb_2p10b)) << seed;
    search_sparse_triple(c.target(), &word);
    dec_acb_3p10b(word, c.s.h, y2);
    EXPECT_GE(c.merit(y2), (1 - rounding) * largest(c, 1024, dec_acb_3p10b)) << seed;
  }
}

TEST(PulseSearch, ThreePulsesAreTheBestOfAllPlacesWithTheTargetsSigns) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const Case c(seed);
    const auto rebuild = [&](std::int32_t places, const float* h, float* y2) {
      std::int32_t words[3];
      for (int track = 0; track < 3; ++track) {
        const int j = places >> (4 * track) & 15;
        words[track] = j + (c.dn[3 * j + track] < 0.0f ? 16 : 0);
      }
      dec_ACB_15(words, h, y2);
    };
    std::int32_t words[3];
    float y2[48];
    search_three_pulses(c.target(), words);
    dec_ACB_15(words, c.s.h, y2);
    EXPECT_GE(c.merit(y2), (1 - rounding) * largest(c, 4096, rebuild)) << seed;
  }
}

double six_merit(const Case& c, int kicks) {
  PulseCorrelations phi;
  std::int32_t words[3] = {-1, -1, -1};
  search_six_pulses(c.target(), kicks, phi, words);
  for (const std::int32_t word : words) {
    EXPECT_GE(word, 0);
    EXPECT_LT(word, 512);
  }
  float y2[48];
  dec_ACB_27(words, c.s.h, y2);
  return c.merit(y2);
}

TEST(PulseSearch, SixPulsesOfMoreKicksAreNeverWorse) {
  double first = 0.0, last = 0.0;
  for (unsigned seed = 0; seed < 100; ++seed) {
    const Case c(seed);
    double before = 0.0;
    for (const int kicks : {0, 1, 3, 8, 20}) {
      const double merit = six_merit(c, kicks);
      EXPECT_GE(merit, (1 - rounding) * before) << seed << ' ' << kicks;
      before = merit;
      if (kicks == 0) first += merit;
    }
    last += before;
  }
  EXPECT_GT(last, 1.01 * first);
}

// No pulse alone can be moved to gain anything.
TEST(PulseSearch, SixPulsesEndWhereNoSingleMoveHelps) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    const Case c(seed);
    PulseCorrelations phi;
    std::int32_t words[3];
    search_six_pulses(c.target(), 0, phi, words);
    float y2[48];
    dec_ACB_27(words, c.s.h, y2);
    const double reached = c.merit(y2);
    for (int track = 0; track < 3; ++track) {
      const std::int32_t own = words[track];
      for (std::int32_t word = 0; word < 512; ++word) {
        // Words that share a pulse with the one chosen.
        float mine[48], other[48];
        const float delta[48] = {1.0f};
        const std::int32_t a[3] = {track == 0 ? own : 0, track == 1 ? own : 0,
                                   track == 2 ? own : 0};
        const std::int32_t b[3] = {track == 0 ? word : 0, track == 1 ? word : 0,
                                   track == 2 ? word : 0};
        dec_ACB_27(a, delta, mine);
        dec_ACB_27(b, delta, other);
        double apart = 0.0;
        for (int n = 0; n < 48; ++n) apart += std::abs(mine[n] - other[n]);
        if (apart > 2.0) continue;
        words[track] = word;
        dec_ACB_27(words, c.s.h, y2);
        EXPECT_LE(c.merit(y2), (1 + rounding) * reached) << seed;
      }
      words[track] = own;
    }
  }
}

// On the mean the searches of effort 0, which hold the pitch gain, come out below.
TEST(PulseSearch, SixPulsesBeatTheSearchWithAFixedPitchGain) {
  double free = 0.0, fixed = 0.0;
  for (unsigned seed = 0; seed < 100; ++seed) {
    const Case c(seed);
    free += six_merit(c, 2);
    Case copy = c;
    std::int32_t words[3];
    ACB_27(copy.dn, copy.s.res, copy.s.h, words);
    float y2[48];
    dec_ACB_27(words, c.s.h, y2);
    fixed += c.merit(y2);
  }
  EXPECT_GT(free, fixed);
}

// With a weight of 0 the merit is the usual one, <x2, y2>^2 / |y2|^2.
TEST(PulseSearch, APitchGainThatIsNotFreeLeavesCorrelationsAsTheyAre) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    const auto s = test::acb_subframe(seed);
    const float nothing[48] = {};
    std::int32_t word = -1;
    float y2[48];
    search_sparse_triple({s.dn, nothing, 0.0f, s.h}, &word);
    dec_acb_3p10b(word, s.h, y2);
    double best = 0.0;
    for (std::int32_t w = 0; w < 1024; ++w) {
      float y[48];
      dec_acb_3p10b(w, s.h, y);
      best = std::max(best, test::acb_merit(s.x2, y));
    }
    EXPECT_GE(test::acb_merit(s.x2, y2), (1 - rounding) * best);
  }
}

TEST(PulseSearch, WordsAreValidWhateverTheInput) {
  for (int kind = 0; kind < 200; ++kind) {
    const auto s = test::absurd_acb_subframe(kind);
    for (const float weight : {0.0f, 1e-6f, 1e30f}) {
      const PulseTarget target = {s.dn, s.res, weight, s.h};
      std::int32_t words[3] = {-1, -1, -1};
      PulseCorrelations phi;
      search_six_pulses(target, 3, phi, words);
      for (const std::int32_t word : words) EXPECT_TRUE(word >= 0 && word < 512);
      search_three_pulses(target, words);
      for (const std::int32_t word : words) EXPECT_TRUE(word >= 0 && word < 32);
      search_opposite_pair(target, words);
      EXPECT_TRUE(words[0] >= 0 && words[0] < 1024);
      search_sparse_triple(target, words);
      EXPECT_TRUE(words[0] >= 0 && words[0] < 1024);
    }
  }
}

TEST(PulseSearch, SilenceGivesTheFirstPlaces) {
  const float zeros[48] = {};
  std::int32_t words[3];
  search_three_pulses({zeros, zeros, 0.0f, zeros}, words);
  for (const std::int32_t word : words) EXPECT_EQ(word, 0);
  PulseCorrelations phi;
  search_six_pulses({zeros, zeros, 0.0f, zeros}, 5, phi, words);
  for (const std::int32_t word : words) EXPECT_EQ(word, 0);
}

}  // namespace
}  // namespace quel::narrowband
