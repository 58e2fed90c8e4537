#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "dsp/hp_2nd.h"
#include "narrowband/decoder_state.h"
#include "narrowband/kernels.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::expect_same;
using test::noise;
using test::same;
using test::Signal;
using test::signal;
using test::stable_filter;

constexpr int L = 48;

std::vector<float> values(const std::array<float, 10>& x) {
  return {x.begin(), x.end()};
}

std::vector<float> values(const std::array<float, 2>& x) {
  return {x.begin(), x.end()};
}

SynthesisState some_state(Signal kind, unsigned seed) {
  SynthesisState state;
  const auto memory = signal(kind, 10 + 4, seed);
  std::copy_n(memory.data(), 10, state.mem_syn.data());
  std::copy_n(memory.data() + 10, 2, state.xmem.data());
  std::copy_n(memory.data() + 12, 2, state.ymem.data());
  state.gain_har = 0.1f * static_cast<float>(seed);
  return state;
}

void expect_same_memories(const SynthesisState& got, const SynthesisState& wanted) {
  expect_same(values(got.mem_syn), values(wanted.mem_syn));
  expect_same(values(got.xmem), values(wanted.xmem));
  expect_same(values(got.ymem), values(wanted.ymem));
  EXPECT_TRUE(same(got.gain_har, wanted.gain_har));
}

// Whether the two agree that the subframe is sane; what is left where it is not, nobody looks at.
TEST(DecoderKernel, SynthesisIsThePlainOne) {
  test::for_every_case({L}, [](int, Signal kind, unsigned seed) {
    for (const bool last : {false, true}) {
      for (const float scale : {1.0f, 1.6f}) {  // stable, and often not
        auto A = stable_filter(10, seed), next = stable_filter(10, seed + 50);
        for (std::size_t i = 1; i <= 10; ++i) A[i] *= scale;
        const auto x = signal(kind, L, seed);
        auto state = some_state(seed % 2 == 0 ? kind : Signal::noise, seed);
        auto wanted_state = state;
        std::vector<float> y(L), wanted(L), pulses(L, 7.0f), wanted_pulses(L, 7.0f);
        const float* const A_next = last ? nullptr : next.data();
        const bool sane =
            synthesize(state, A.data(), x.data(), y.data(), {nullptr, pulses.data(), A_next});
        const bool wanted_sane = plain::synthesize(wanted_state, A.data(), x.data(), wanted.data(),
                                                   {nullptr, wanted_pulses.data(), A_next});
        ASSERT_EQ(sane, wanted_sane);
        expect_same(pulses, wanted_pulses);
        if (!sane) continue;
        expect_same(y, wanted);
        expect_same_memories(state, wanted_state);
      }
    }
  });
}

// As in syn_filt's test: two huge past outputs whose products cancel leave their roundings behind.
TEST(DecoderKernel, SynthesisOwnsUpToWrongGuesses) {
  test::in_every_instruction_set([] {
    int wrong = 0;
    for (unsigned seed = 0; seed < 200; ++seed) {
      SCOPED_TRACE(seed);
      auto A = stable_filter(10, seed), denominator = stable_filter(10, seed + 1);
      A[10] = A[9];
      const auto x = noise(L, seed);
      auto state = some_state(Signal::noise, seed);
      state.mem_syn[0] *= 1e6f;  // the outputs stay sane
      state.mem_syn[1] = -state.mem_syn[0];
      const SynthesisState before = state;
      std::vector<float> y(L, 1.0f), pulses = noise(L, seed + 2), no_past(10);
      const auto pulses_before = pulses;
      const Recursion filter = {A.data(), x.data(), nullptr, L, state.mem_syn.data()};
      const HighPass pass = {a_100, b_100, y.data(), state.xmem.data(), state.ymem.data()};
      const Recursion next = {denominator.data(), pulses.data(), pulses.data(), L, no_past.data()};
      if (!narrowband_kernels().synthesize_and_pass(filter, pass, &next)) {
        ++wrong;
        expect_same(y, std::vector<float>(L, 1.0f));
        expect_same(pulses, pulses_before);
        expect_same_memories(state, before);
      }
    }
    EXPECT_GT(wrong, 5);
    EXPECT_LT(wrong, 200);
  });
}

TEST(DecoderKernel, LevellingIsThePlainOne) {
  test::for_every_case({L}, [](int, Signal kind, unsigned seed) {
    for (const float gain : {0.0f, 1.0f, 1e-30f, 1e30f}) {
      const auto reference = signal(seed % 2 == 0 ? kind : Signal::noise, L, seed + 9);
      auto y = signal(kind, L, seed), wanted = y;
      auto state = some_state(Signal::noise, seed), wanted_state = state;
      GainControl control{gain}, wanted_control{gain};
      const bool sane = level_output(state, control, reference.data(), y.data());
      ASSERT_EQ(sane,
                plain::level_output(wanted_state, wanted_control, reference.data(), wanted.data()));
      EXPECT_TRUE(same(control.gain_prec, wanted_control.gain_prec));
      if (!sane) continue;
      expect_same(y, wanted);
      expect_same_memories(state, wanted_state);
    }
  });
}

TEST(DecoderKernel, MixingIsThePlainOne) {
  test::for_every_case({L}, [](int, Signal kind, unsigned seed) {
    for (const float gain_pit : {0.0f, 0.5f, 1.2f}) {
      const float gain_code = signal(seed == 3 ? kind : Signal::noise, 4, seed)[seed % 4];
      const auto code = signal(seed == 1 ? kind : Signal::noise, L, seed + 3);
      auto exc = signal(kind, L, seed), wanted = exc;
      auto state = some_state(Signal::noise, seed), wanted_state = state;
      std::vector<float> enhanced(L), wanted_enhanced(L);
      EXPECT_EQ(
          mix_excitation(state, exc.data(), code.data(), gain_pit, gain_code, enhanced.data()),
          plain::mix_excitation(wanted_state, wanted.data(), code.data(), gain_pit, gain_code,
                                wanted_enhanced.data()));
      expect_same(exc, wanted);
      expect_same(enhanced, wanted_enhanced);
      expect_same_memories(state, wanted_state);
    }
  });
}

// Just inside and just outside the limits of is_sane, at every place.
TEST(DecoderKernel, OneSampleBeyondTheLimitIsSeen) {
  test::in_every_instruction_set([] {
    const std::vector<float> code(L);
    std::vector<float> enhanced(L);
    for (std::size_t at = 0; at < L; ++at) {
      for (const float sign : {1.0f, -1.0f}) {
        SynthesisState state;
        std::vector<float> exc(L);
        exc[at] = sign * 1e9f;
        EXPECT_TRUE(mix_excitation(state, exc.data(), code.data(), 1.0f, 1.0f, enhanced.data()));
        exc[at] = sign * std::nextafter(1e9f, 2e9f);
        EXPECT_FALSE(mix_excitation(state, exc.data(), code.data(), 1.0f, 1.0f, enhanced.data()));
      }
    }
  });
}

}  // namespace
}  // namespace quel
