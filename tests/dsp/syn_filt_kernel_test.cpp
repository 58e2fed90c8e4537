#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "dsp/kernels.h"
#include "dsp/syn_filt.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::in_every_instruction_set;
using test::Misaligned;
using test::noise;
using test::Signal;
using test::signal;
using test::size;
using test::stable_filter;

// One call, by kernel and plain, of a filter that is stable or, scaled up, is not.
void expect_same_filtering(int m, Signal kind, int lg, float scale, unsigned seed) {
  auto a = stable_filter(m, seed);
  for (int i = 1; i <= m; ++i) a[size(i)] *= scale;
  const auto x = signal(kind, lg, seed);
  const auto past = signal(seed % 3 == 0 ? kind : Signal::noise, m, seed + 1);
  std::vector<float> wanted(size(lg)), wanted_past = past;
  plain::syn_filt(a.data(), m, x.data(), wanted.data(), lg, wanted_past.data(), 1);

  Misaligned input(x, static_cast<int>(seed % 7)), memory(past, static_cast<int>(seed % 5));
  std::vector<float> y(size(lg));
  syn_filt(a.data(), m, input.data(), y.data(), lg, memory.data(), 0);
  expect_same(y, wanted);
  expect_same({memory.data(), memory.data() + m}, past);
  syn_filt(a.data(), m, input.data(), input.data(), lg, memory.data(), 1);  // in place
  expect_same({input.data(), input.data() + lg}, wanted);
  expect_same({memory.data(), memory.data() + m}, wanted_past);
}

TEST(SynFiltKernel, GivesThePlainRecursion) {
  for (const int m : {10, 16}) {
    SCOPED_TRACE(m);
    test::for_every_case({1, 2, 3, 5, 15, 16, 17, 30, 47, 48, 79, 80, 81, 160, 163},
                         [&](int lg, Signal kind, unsigned seed) {
                           const float scale = seed % 2 == 0 ? 1.0f : 1.5f;
                           expect_same_filtering(m, kind, lg, scale, seed);
                         });
  }
}

TEST(SynFiltKernel, TwoAtOnceAreTheTwo) {
  for (const int m : {10, 16}) {
    test::for_every_case({1, 16, 30, 48, 80, 81}, [&](int lg, Signal kind, unsigned seed) {
      const int other_lg = seed % 2 == 0 ? 48 : 80;
      const auto a = stable_filter(m, seed), other_a = stable_filter(m, seed + 1);
      auto x = signal(kind, lg, seed), other_x = noise(other_lg, seed);
      auto mem = noise(m, seed), other_mem = signal(kind, m, seed);
      std::vector<float> wanted(size(lg)), wanted_mem = mem, other_wanted(size(other_lg)),
                                           y(size(lg));
      auto other_wanted_mem = other_mem;
      plain::syn_filt(a.data(), m, x.data(), wanted.data(), lg, wanted_mem.data(), 1);
      plain::syn_filt(other_a.data(), m, other_x.data(), other_wanted.data(), other_lg,
                      other_wanted_mem.data(), 0);
      syn_filt_both(
          m, {a.data(), x.data(), y.data(), lg, mem.data(), 1},
          {other_a.data(), other_x.data(), other_x.data(), other_lg, other_mem.data(), 0});
      expect_same(y, wanted);
      expect_same(mem, wanted_mem);
      expect_same(other_x, other_wanted);
      expect_same(other_mem, other_wanted_mem);
    });
  }
}

// Two products that are huge and cancel leave their roundings in what lies between: there the order
// of a sum shows in a float. So here guesses do go wrong, the kernel says so, and the routine still
// gives the plain recursion.
TEST(SynFiltKernel, OwnsUpToWrongGuesses) {
  in_every_instruction_set([] {
    int wrong = 0;
    for (unsigned seed = 0; seed < 200; ++seed) {
      SCOPED_TRACE(seed);
      auto a = stable_filter(10, seed);
      const auto x = noise(48, seed);
      auto past = noise(10, seed + 1);
      a[10] = a[9];  // the guess begins with these two, the plain recursion ends with them
      past[0] *= 1e9f;
      past[1] = -past[0];
      std::vector<float> y(48, 1.0f), wanted(48), wanted_past = past, kept = past;
      plain::syn_filt(a.data(), 10, x.data(), wanted.data(), 48, wanted_past.data(), 1);
      if (dsp_kernels().synthesize10({a.data(), x.data(), y.data(), 48, past.data()})) {
        expect_same(y, wanted);
      } else {
        ++wrong;
        expect_same(past, kept);
        expect_same(y, std::vector<float>(48, 1.0f));
        syn_filt(a.data(), 10, x.data(), y.data(), 48, past.data(), 1);
        expect_same(y, wanted);
      }
      expect_same(past, wanted_past);
    }
    EXPECT_GT(wrong, 20);
    EXPECT_LT(wrong, 200);
  });
}

// The same behind the first outputs: two huge inputs come, and ten outputs later their products
// cancel while a small one lies between.
TEST(SynFiltKernel, OwnsUpToGuessesThatGoWrongLater) {
  in_every_instruction_set([] {
    for (const int at : {3, 19, 35}) {
      SCOPED_TRACE(at);
      int wrong = 0;
      for (unsigned seed = 0; seed < 50; ++seed) {
        std::vector<float> a(11), past(10), y(48), wanted(48), wanted_past(10);
        a[0] = 1.0f;
        a[1] = 1e-5f;
        a[9] = a[10] = 0.7f;
        auto x = noise(48, seed);
        x[size(at)] = 1e13f;
        x[size(at + 1)] = -1e13f + 1e8f;  // y there is -1e13
        x[size(at + 9)] = 0.7e13f;        // what the first product alone would bring
        plain::syn_filt(a.data(), 10, x.data(), wanted.data(), 48, wanted_past.data(), 1);
        if (!dsp_kernels().synthesize10({a.data(), x.data(), y.data(), 48, past.data()})) ++wrong;
        syn_filt(a.data(), 10, x.data(), y.data(), 48, std::vector<float>(10).data(), 0);
        expect_same(y, wanted);
      }
      EXPECT_GT(wrong, 10);
    }
  });
}

// A filter that rings after a sound soon has outputs that are no normal floats, and would take the
// plain recursion's time for ever if they were guessed as others are.
TEST(SynFiltKernel, GuessesWhatDiesAway) {
  in_every_instruction_set([] {
    const auto a = stable_filter(10, 1);
    const std::vector<float> silence(48);
    std::vector<float> past = noise(10, 2), y(48);
    int subnormal = 0;
    for (int subframe = 0; subframe < 400; ++subframe) {
      auto wanted_past = past;
      std::vector<float> wanted(48);
      plain::syn_filt(a.data(), 10, silence.data(), wanted.data(), 48, wanted_past.data(), 1);
      EXPECT_TRUE(dsp_kernels().synthesize10({a.data(), silence.data(), y.data(), 48, past.data()}))
          << subframe;
      expect_same(y, wanted);
      expect_same(past, wanted_past);
      for (const float v : y) subnormal += v != 0.0f && std::abs(v) < 1.2e-38f ? 1 : 0;
    }
    EXPECT_GT(subnormal, 10);
  });
}

}  // namespace
}  // namespace quel
