#include "wideband/output_wb.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "support/kernels.h"
#include "wideband/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::noise;
using test::Signal;
using test::signal;
using test::stable_filter;
using wideband::OutputFilters;
using wideband::synthesize_output;

constexpr int L = 80;
constexpr int order = 16;

TEST(SynthesizeOutput, GivesThePlainOne) {
  test::for_every_case({L}, [](int, Signal kind, unsigned seed) {
    for (const bool fades : {false, true}) {
      for (const float scale : {1.0f, 1.5f}) {  // stable, and often not
        auto A = stable_filter(order, seed);
        for (std::size_t i = 1; i <= order; ++i) A[i] *= scale;
        const auto Aw = stable_filter(order, seed + 10), old = stable_filter(order, seed + 20);
        const auto exc = signal(kind, L, seed);
        auto mem_syn = signal(seed % 2 == 0 ? kind : Signal::noise, order, seed + 1);
        auto mem_post = signal(seed % 3 == 0 ? kind : Signal::noise, order, seed + 2);
        auto wanted_syn = mem_syn, wanted_post = mem_post;
        std::vector<float> out(L), wanted(L);
        const float* const old_Aw = fades ? old.data() : nullptr;
        const OutputFilters filters = {A.data(), Aw.data(), old_Aw, mem_syn.data(),
                                       mem_post.data()};
        const bool sane = synthesize_output(filters, exc.data(), out.data());
        ASSERT_EQ(sane, wideband::plain::synthesize_output(
                            {A.data(), Aw.data(), old_Aw, wanted_syn.data(), wanted_post.data()},
                            exc.data(), wanted.data()));
        expect_same(mem_post, wanted_post);
        if (!sane) continue;
        expect_same(out, wanted);
        expect_same(mem_syn, wanted_syn);
      }
    }
  });
}

// With no filter at all the fade alone is left: it gives its input, rounded twice.
TEST(SynthesizeOutput, FadesBetweenEqualFiltersWithoutATrace) {
  const std::vector<float> flat = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const auto exc = noise(L, 1);
  std::vector<float> mem_syn(order), mem_post(order), out(L);
  ASSERT_TRUE(
      synthesize_output({flat.data(), flat.data(), flat.data(), mem_syn.data(), mem_post.data()},
                        exc.data(), out.data()));
  for (std::size_t n = 0; n < L; ++n) ASSERT_FLOAT_EQ(out[n], exc[n]) << n;
}

// As in syn_filt's test: two huge past outputs whose products cancel leave their roundings behind.
TEST(SynthesizeOutput, KernelOwnsUpToWrongGuesses) {
  test::in_every_instruction_set([] {
    int wrong = 0;
    for (unsigned seed = 0; seed < 200; ++seed) {
      SCOPED_TRACE(seed);
      const auto A = stable_filter(order, seed);
      auto Aw = stable_filter(order, seed + 1);
      Aw[order] = Aw[order - 1];
      const auto exc = noise(L, seed), mem_syn = noise(order, seed + 2);
      auto mem_post = noise(order, seed + 3);
      mem_post[0] *= 1e9f;
      mem_post[1] = -mem_post[0];
      auto past = mem_syn, past_post = mem_post;
      std::vector<float> out(L, 1.0f), old(32, 2.0f);
      const Recursion synthesis = {A.data(), exc.data(), nullptr, L, past.data()};
      const Recursion postfilter = {Aw.data(), nullptr, out.data(), L, past_post.data()};
      const Recursion fading = {A.data(), nullptr, old.data(), 32, past_post.data()};
      if (wideband_kernels().synthesize_and_filter(synthesis, postfilter, &fading)) continue;
      ++wrong;
      expect_same(out, std::vector<float>(L, 1.0f));
      expect_same(old, std::vector<float>(32, 2.0f));
      expect_same(past, mem_syn);
      expect_same(past_post, mem_post);
    }
    EXPECT_GT(wrong, 20);
    EXPECT_LT(wrong, 200);
  });
}

}  // namespace
}  // namespace quel
