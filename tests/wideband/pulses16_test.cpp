#include "wideband/pulses16.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <vector>

#include "dsp/convolve.h"
#include "support/signals.h"
#include "wideband/cod45_85.h"
#include "wideband/dec45_85.h"

namespace quel::wideband {
namespace {

std::size_t at(int i) {
  return static_cast<std::size_t>(i);
}

int sample_of(int place) {
  return place % 16 * 5 + place / 16;
}

/// A subframe whose target is orthogonal to v, or that has no v.
struct Subframe {
  std::vector<float> h, target, v, dn, wn, cn, phi;
  AcelpWork work;
  PulseQuestion question;

  explicit Subframe(unsigned seed, bool with_v = true)
      : h(80),
        target(test::noise(80, seed)),
        v(80),
        dn(80),
        wn(80),
        cn(test::noise(80, seed + 200)),
        phi(6400) {
    for (int n = 0; n < 80; ++n) {
      h[at(n)] = static_cast<float>(std::pow(0.85, n) * std::cos((0.2 + 0.1 * seed) * n));
    }
    // Like an adaptive vector, v is something filtered.
    convolve16(test::noise(80, seed + 100).data(), h.data(), v.data(), 80);
    const double length = std::sqrt(test::dot(v, v));
    for (float& x : v) x = with_v ? static_cast<float>(x / length) : 0.0f;
    const auto along = static_cast<float>(test::dot(target, v));
    for (std::size_t n = 0; n < 80; ++n) target[n] -= along * v[n];
    corr_xh(target.data(), dn.data(), h.data(), 80);
    corr_xh(v.data(), wn.data(), h.data(), 80);
    response_matrix(h.data(), phi.data());
    question.rotations = 5;
    ask_for_pulses(work, dn.data(), wn.data(), cn.data(), question);
  }

  /// Of a code, by the signals themselves.
  double merit(const Pulses& pulses) const {
    std::vector<float> code(80), y(80);
    build_code(pulses, h.data(), code.data(), y.data());
    const double ps = test::dot(target, y), along = test::dot(v, y);
    return ps > 0.0 ? ps * ps / (test::dot(y, y) - along * along) : 0.0;
  }
};

void expect_valid(const Pulses& p) {
  for (int k = 0; k < 10; ++k) {
    ASSERT_EQ(p.place[k] / 16, k % 5) << k;
    ASSERT_EQ(std::fabs(p.sign[k]), 1.0f);
    ASSERT_FALSE(p.place[k] == p.place[(k + 5) % 10] && p.sign[k] != p.sign[(k + 5) % 10]) << k;
  }
}

TEST(ResponseMatrix, HoldsTheCorrelationsOfDelayedResponses) {
  for (unsigned seed = 0; seed < 5; ++seed) {
    const Subframe s(seed);
    for (int p = 0; p < 80; ++p) {
      for (int q = 0; q < 80; ++q) {
        double sum = 0.0;
        for (int n = std::max(sample_of(p), sample_of(q)); n < 80; ++n) {
          sum += static_cast<double>(s.h[at(n - sample_of(p))]) * s.h[at(n - sample_of(q))];
        }
        ASSERT_NEAR(s.phi[at(80 * p + q)], sum, 1e-5) << p << ", " << q;  // 80 float sums of 2
      }
    }
  }
}

TEST(AskForPulses, AsksByPlaceAboutTheDesignedCandidates) {
  Subframe s(3);
  AcelpWork work;
  auto dn = s.dn;
  preselect(work, dn.data(), s.cn.data());
  for (int t = 0; t < 5; ++t) {
    std::vector<int> wanted;
    for (int p = 16 * t; p < 16 * t + 16; ++p) {
      const int n = sample_of(p);
      EXPECT_EQ(s.question.dn[p], s.dn[at(n)]);
      EXPECT_EQ(s.question.wn[p], s.wn[at(n)]);
      EXPECT_EQ(s.question.sign[p], work.sign[at(n)]);
      if (work.dn2[at(n)] < 0.0f) wanted.push_back(p);
    }
    EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), s.question.candidate + 8 * t,
                           s.question.candidate + 8 * t + 8));
    EXPECT_EQ(sample_of(s.question.first[t]), work.pos_max[at(t)]);
  }
}

TEST(FindPulses, NoSinglePulseDoesBetterElsewhere) {
  int settled = 0, cases = 0;
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    const Subframe s(seed, seed % 4 != 0);
    Pulses found;
    find_pulses(s.question, s.phi.data(), found);
    expect_valid(found);
    const double merit = s.merit(found);
    bool best = true;
    for (int k = 0; k < 10; ++k) {
      for (int j = 0; j < 32; ++j) {
        Pulses other = found;
        other.place[k] = k % 5 * 16 + j % 16;
        other.sign[k] = j < 16 ? 1.0f : -1.0f;
        const int twin = (k + 5) % 10;
        if (other.place[k] == other.place[twin] && other.sign[k] != other.sign[twin]) continue;
        // A move has to gain more than rounding.
        best = best && s.merit(other) < 1.0001 * merit;
      }
    }
    settled += best ? 1 : 0;
    ++cases;
  }
  EXPECT_GT(settled, cases * 8 / 10);  // three turns of every pulse do not always reach the end
}

// With nothing adaptive beside it, the code competes with the designed search's.
TEST(FindPulses, DoesBetterThanTheDesignedSearch) {
  double gained = 0.0;
  int worse = 0;
  for (unsigned seed = 0; seed < 40; ++seed) {
    Subframe s(seed, false);
    Pulses found;
    find_pulses(s.question, s.phi.data(), found);
    auto dn = s.dn;
    std::array<float, 80> code, y;
    std::array<std::int32_t, 5> words;
    ACELP_45_85(s.work, {}, dn.data(), s.cn.data(), s.h.data(), code.data(), y.data(),
                words.data());
    const std::vector<float> filtered(y.begin(), y.end());
    const double ps = test::dot(s.target, filtered);
    const double designed = ps * ps / test::dot(filtered, filtered);
    gained += s.merit(found) / designed;
    worse += s.merit(found) < designed ? 1 : 0;
  }
  EXPECT_GT(gained / 40, 1.05);
  EXPECT_LE(worse, 2);  // they start from different measures of energy
}

TEST(FindPulses, MoreRotationsDoNoWorse) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    Subframe s(seed);
    double last = 0.0;
    for (s.question.rotations = 1; s.question.rotations <= 5; ++s.question.rotations) {
      Pulses found;
      find_pulses(s.question, s.phi.data(), found);
      const double merit = s.merit(found);
      EXPECT_GE(merit, last * (1 - 1e-4)) << seed;  // compared as floats
      last = merit;
    }
  }
}

// What v explains already is not asked of the code.
TEST(FindPulses, LooksBesideTheAdaptiveVector) {
  double gained = 0.0;
  for (unsigned seed = 0; seed < 40; ++seed) {
    const Subframe s(seed);
    PulseQuestion blind = s.question;
    std::fill_n(blind.wn, 80, 0.0f);
    Pulses found, without;
    find_pulses(s.question, s.phi.data(), found);
    find_pulses(blind, s.phi.data(), without);
    gained += s.merit(found) / s.merit(without);
  }
  EXPECT_GT(gained / 40, 1.005);
}

TEST(FindPulses, AreValidForAnyNumbers) {
  constexpr float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                           std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(),
                           1e38f,
                           -1e38f,
                           1e-45f};
  test::Random random(1);
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(seed);
    Subframe s(seed);
    for (auto* values : {&s.dn, &s.wn, &s.cn, &s.h}) {
      if (random.integer(0, 1) == 0) continue;
      for (float& x : *values) {
        if (random.integer(0, 5) == 0) x = odd[random.integer(0, 5)];
      }
    }
    if (seed == 0) {
      for (auto* values : {&s.dn, &s.wn, &s.cn, &s.h}) std::fill(values->begin(), values->end(), 0);
    }
    response_matrix(s.h.data(), s.phi.data());
    ask_for_pulses(s.work, s.dn.data(), s.wn.data(), s.cn.data(), s.question);
    Pulses found;
    find_pulses(s.question, s.phi.data(), found);
    expect_valid(found);
  }
}

TEST(PulseWords, DecodeToTheCode) {
  test::Random random(2);
  for (int trial = 0; trial < 500; ++trial) {
    Pulses pulses;
    for (int k = 0; k < 10; ++k) {
      pulses.place[k] = k % 5 * 16 + static_cast<int>(random.integer(0, trial % 2 == 0 ? 15 : 2));
      pulses.sign[k] = random.integer(0, 1) == 0 ? 1.0f : -1.0f;
      if (k >= 5 && pulses.place[k] == pulses.place[k - 5]) pulses.sign[k] = pulses.sign[k - 5];
    }
    std::array<std::int32_t, 5> words;
    pulse_words(pulses, words.data());
    const auto h = test::noise(80, static_cast<unsigned>(trial), 0.3);
    std::vector<float> code(80), y(80), decoded(80), filtered(80);
    build_code(pulses, h.data(), code.data(), y.data());
    DEC_ACELP_45_85(words.data(), decoded.data());
    EXPECT_EQ(decoded, code);
    convolve16(decoded.data(), h.data(), filtered.data(), 80);
    for (std::size_t n = 0; n < 80; ++n) EXPECT_NEAR(y[n], filtered[n], 1e-5);  // float sums
    for (const std::int32_t word : words) EXPECT_TRUE(word >= 0 && word < 512);
  }
}

}  // namespace
}  // namespace quel::wideband
