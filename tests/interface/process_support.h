#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "interface/process_codec.h"
#include "support/signals.h"

// Each routine of the process-wide codec does to the one codec of the process what its
// state-explicit form does to a state of the caller's, and gives what that gives.

namespace quel::test {

using Floats = std::vector<float>;
using Pcm = std::vector<std::int16_t>;
using Words = std::vector<std::int32_t>;

/// Runs both forms from one state. Each returns what it wrote for its caller.
template <typename State, typename Explicit, typename Forward>
void expect_same(State& of_process, Explicit run_explicit, Forward run_forward) {
  const State before = of_process;
  State of_caller = of_process;
  const auto expected = run_explicit(of_caller);
  EXPECT_EQ(run_forward(), expected);
  EXPECT_EQ(std::memcmp(&of_process, &of_caller, sizeof(State)), 0);
  EXPECT_NE(std::memcmp(&of_process, &before, sizeof(State)), 0) << "nothing was done";
}

template <typename State, typename Explicit>
void expect_same_reset(State& of_process, Explicit reset, void (*forward)()) {
  expect_same(
      of_process, [&](State& state) { return reset(state), 0; }, [&] { return forward(), 0; });
}

inline Words random_words(std::uint64_t seed) {
  Random random(seed);
  Words words(23);
  for (auto& word : words) word = static_cast<std::int32_t>(random.bits() >> 1);
  return words;
}

/// Two narrowband decoders share the memories of their quantisers and their seed.
struct Narrowband {
  SwtDecoder swt;
  FiveKDecoder five_k;
  NarrowbandDecoderShared shared;
};

inline bool same(const Narrowband& state) {
  const FrameDecoder& process = process_decoder;
  return std::memcmp(&state.swt, &process.swt, sizeof state.swt) == 0 &&
         std::memcmp(&state.five_k, &process.five_k, sizeof state.five_k) == 0 &&
         state.shared.isf.past_r == process.shared.isf.past_r &&
         state.shared.isf.past_isf == process.shared.isf.past_isf &&
         state.shared.gains.past_qua_en == process.shared.gains.past_qua_en &&
         state.shared.gains.last_gain_pit == process.shared.gains.last_gain_pit &&
         state.shared.gains.last_gain_code == process.shared.gains.last_gain_code &&
         state.shared.gains.step == process.shared.gains.step &&
         state.shared.seed == process.shared.seed;
}

}  // namespace quel::test
