#include "dsp/splice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using Pcm = std::vector<std::int16_t>;

Pcm tone(int n, double period) {
  Pcm pcm;
  for (int k = 0; k < n; ++k) {
    pcm.push_back(
        static_cast<std::int16_t>(std::lround(9000 * std::sin(6.283185307 * k / period))));
  }
  return pcm;
}

TEST(Splice, FindsThePeriod) {
  for (const int period : {41, 57, 80, 119}) {
    const Pcm pcm = tone(400, period);
    const Splice splice = find_splice(pcm.data(), pcm.data(), 40, 120, 40);
    EXPECT_EQ(splice.offset % period, 0) << period;
    EXPECT_GT(splice.match, 0.999);  // a whole number of samples: the rounding to 16 bits is left
  }
}

TEST(Splice, IsThePlainMaximum) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    const Pcm a = test::speech_like_pcm(60, seed), b = test::speech_like_pcm(200, seed + 100);
    double best = -2;
    int at = -1;
    for (int offset = 3; offset <= 140; ++offset) {
      double ab = 0, aa = 0, bb = 0;
      for (std::size_t n = 0; n < 60; ++n) {
        const double x = a[n], y = b[n + static_cast<std::size_t>(offset)];
        ab += x * y;
        aa += x * x;
        bb += y * y;
      }
      const double c = aa * bb > 0 ? ab / std::sqrt(aa * bb) : 0;
      if (c > best) {
        best = c;
        at = offset;
      }
    }
    const Splice splice = find_splice(a.data(), b.data(), 3, 140, 60);
    EXPECT_EQ(splice.offset, at);
    EXPECT_NEAR(splice.match, best * std::abs(best), 1e-12);  // rounding of the plain root
  }
}

TEST(Splice, OfSilenceIsTheFirstOffset) {
  const Pcm silence(300, 0);
  const Splice splice = find_splice(silence.data(), silence.data(), 7, 90, 80);
  EXPECT_EQ(splice.offset, 7);
  EXPECT_EQ(splice.match, 0.0);
}

TEST(Splice, OppositeSoundIsTheWorst) {
  const Pcm a(40, 1000), b(50, -1000);
  EXPECT_EQ(find_splice(a.data(), b.data(), 0, 10, 40).match, -1.0);
}

TEST(Splice, ExtremesDoNotOverflow) {
  const Pcm a(80, -32768), b(100, -32768);
  EXPECT_EQ(find_splice(a.data(), b.data(), 0, 20, 80).match, 1.0);
  EXPECT_EQ(energy_of(a.data(), 80), 80ll << 30);
}

TEST(CrossFade, GoesFromTheOneToTheOther) {
  const Pcm a(40, 8000), b(40, -8000);
  Pcm out(40);
  cross_fade(a.data(), b.data(), out.data(), 40);
  for (std::size_t n = 0; n < 40; ++n) {
    // The weight of b at the middle of each of 40 steps.
    const double to_b = (static_cast<double>(n) + 0.5) / 40;
    EXPECT_NEAR(out[n], 8000 * (1 - to_b) - 8000 * to_b, 1) << n;  // towards zero
  }
}

TEST(CrossFade, OfEqualsIsThat) {
  const Pcm pcm = test::speech_like_pcm(80, 3);
  Pcm out = pcm;
  cross_fade(pcm.data(), out.data(), out.data(), 80);
  EXPECT_EQ(out, pcm);
  const Pcm lowest(80, -32768), highest(80, 32767);
  cross_fade(lowest.data(), lowest.data(), out.data(), 80);
  EXPECT_EQ(out, lowest);
  cross_fade(highest.data(), highest.data(), out.data(), 80);
  EXPECT_EQ(out, highest);
}

}  // namespace
}  // namespace quel
