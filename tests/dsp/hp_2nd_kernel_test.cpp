#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "dsp/hp_2nd.h"
#include "dsp/kernels.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::Signal;
using test::signal;
using test::size;

TEST(Hp2ndKernel, GivesThePlainRecursion) {
  test::for_every_case(
      {1, 2, 3, 5, 48, 79, 80, 81, 144, 240}, [](int lg, Signal kind, unsigned seed) {
        auto a = test::noise(3, seed, 0.7), b = test::noise(3, seed + 1, 0.7);
        if (seed < 2) a.assign(a_100, a_100 + 3);
        const auto past = signal(seed % 2 == 0 ? kind : Signal::noise, 4, seed + 2);
        const auto x = signal(kind, lg, seed);
        std::vector<float> wanted = x, wanted_past = past, got_past = past;
        plain::hp_2nd(wanted.data(), lg, a.data(), b.data(), &wanted_past[0], &wanted_past[2]);
        test::Misaligned sig(x, static_cast<int>(seed));
        hp_2nd(sig.data(), lg, a.data(), b.data(), &got_past[0], &got_past[2]);
        expect_same({sig.data(), sig.data() + lg}, wanted);
        expect_same(got_past, wanted_past);
      });
}

// The feedback products of the first output nearly cancel, on either side of a power of two: which
// one is added first then shows in a float now and then.
TEST(Hp2ndKernel, OwnsUpToWrongGuesses) {
  test::in_every_instruction_set([] {
    int wrong = 0;
    for (unsigned seed = 0; seed < 2000; ++seed) {
      const float a[] = {1.0f, 1.0f, 1.0f}, b[] = {0.7f, 0.0f, 0.0f};
      float past_x[] = {0.0f, 0.0f}, past_y[] = {0x1p30f, 64.0f - 0x1p30f};
      auto x = test::noise(48, seed, 40.0), wanted = x;
      const auto before = x;
      float px[] = {past_x[0], past_x[1]}, py[] = {past_y[0], past_y[1]};
      plain::hp_2nd(wanted.data(), 48, a, b, px, py);
      if (!dsp_kernels().high_passed(x.data(), 48, a, b, past_x, past_y)) {
        ++wrong;
        expect_same(x, before);
        EXPECT_EQ(past_y[0], 0x1p30f);
        hp_2nd(x.data(), 48, a, b, past_x, past_y);
      }
      expect_same(x, wanted);
    }
    EXPECT_GT(wrong, 20);
  });
}

}  // namespace
}  // namespace quel
