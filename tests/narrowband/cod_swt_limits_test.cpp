#include "narrowband/cod_swt.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "narrowband/memories.h"
#include "narrowband/plain_narrowband.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::bounded;
using test::memories;
using test::mode_for;
using test::speech_like_pcm;
using test::Words;
using ::testing::Each;

struct Hostile {
  const char* name;
  std::function<double(int)> sample;
};

class CodSwtHostile : public ::testing::TestWithParam<std::tuple<int, int>> {};
const Hostile hostile[] = {
    {"Silence", [](int) { return 0.0; }},
    {"SquareWave", [](int n) { return n / 37 % 2 != 0 ? 32767.0 : -32768.0; }},
    {"Noise", [r = test::Random(4)](int) mutable { return r.uniform(-32768.0, 32767.0); }},
    {"Alternating", [](int n) { return n % 2 != 0 ? 32767.0 : -32767.0; }},
    {"Impulses", [](int n) { return n % 611 == 0 ? 32767.0 : 0.0; }},
    {"OneImpulse", [](int n) { return n == 1000 ? -32768.0 : 0.0; }},
    {"Constant", [](int) { return 32767.0; }},
    {"Tone", [](int n) { return 32767.0 * std::sin(0.7 * n); }},
    {"OneStep", [](int n) { return n % 2000 < 1000 ? 1.0 : 0.0; }},
};
INSTANTIATE_TEST_SUITE_P(Signals, CodSwtHostile,
                         ::testing::Combine(::testing::Values(0, 1, 2), ::testing::Range(0, 9)),
                         [](const auto& info) {
                           return std::string(hostile[std::get<1>(info.param)].name) +
                                  std::to_string(std::get<0>(info.param));
                         });

// Synthesis of encoder and decoder, the excitation and every memory stay within what 16-bit input
// can leave: ten times full scale is room for the overshoot of any filter that follows its signal.
TEST_P(CodSwtHostile, StateStaysBoundedAndWordsStayInTheirFields) {
  const auto [flavor, signal] = GetParam();
  const Mode mode = mode_for(flavor);
  const auto sample = hostile[signal].sample;
  NarrowbandEncoder encoder;
  init_cod_swt(encoder);
  std::vector<std::int16_t> in(static_cast<std::size_t>(mode.len_frame));
  int n = 0;
  for (int frame = 0; frame < 500; ++frame) {
    for (auto& x : in) x = static_cast<std::int16_t>(sample(n++));
    Words prm{flavor};
    cod_swt(encoder, mode, in.data(), prm.data());
    EXPECT_LT(prm[1], 64);
    for (std::size_t k = 6; k < 21; ++k) EXPECT_LT(prm[k], 1024);
    EXPECT_GE(*std::min_element(prm.begin(), prm.end()), 0);
  }
  EXPECT_TRUE(bounded(memories(encoder), 327680.0f));
}

// A mode record of another flavor, or none, with any control word: nothing outside the parameter
// array, the input or the state is touched.
TEST(CodSwtMismatch, ForeignModesStayInsideTheArrays) {
  Mode wideband_only, wideband_after, handmade;
  set_mode(wideband_only, 3);
  set_mode(wideband_after, 2);
  set_mode(wideband_after, 3);
  handmade = mode_for(0);
  handmade.len_frame = 1000;
  handmade.num_subfr = 1000;
  Mode short_frames = mode_for(0);
  short_frames.len_frame = 48;
  Mode negative = mode_for(0);
  negative.len_frame = -48;
  negative.num_subfr = -1;
  const Mode modes[] = {Mode{},   wideband_only, wideband_after, handmade,   short_frames,
                        negative, mode_for(0),   mode_for(1),    mode_for(2)};
  NarrowbandEncoder encoder;
  init_cod_swt(encoder);
  for (unsigned round = 0; round < 3; ++round) {
    for (const Mode& mode : modes) {
      for (const int flavor : {0, 1, 2, 3, 4, -1, 1 << 24}) {
        const auto in = speech_like_pcm(std::clamp(mode.len_frame, 0, 240), round);
        std::vector<std::int32_t> prm(21 + 16, -77);
        prm[8] = flavor;
        cod_swt(encoder, mode, in.data(), prm.data() + 8);
        EXPECT_THAT(std::vector<std::int32_t>(prm.begin(), prm.begin() + 8), Each(-77));
        EXPECT_THAT(std::vector<std::int32_t>(prm.end() - 8, prm.end()), Each(-77));
        EXPECT_EQ(prm[8], flavor);
      }
    }
  }
  EXPECT_TRUE(bounded(memories(encoder), 327680.0f));
}

// Not even the state moves. 110 samples and the 130 before them fill the analysis window.
TEST(CodSwtMismatch, NoModeAndTooShortFramesCodeNothing) {
  for (const int len_frame : {0, -144, 47, 48, 109, 110}) {
    SCOPED_TRACE(len_frame);
    Mode mode = len_frame == 0 ? Mode{} : mode_for(0);
    mode.len_frame = len_frame;
    NarrowbandEncoder encoder;
    init_cod_swt(encoder);
    const auto before = memories(encoder);
    Words prm;
    prm.fill(-77);
    prm[0] = 0;
    const auto in = speech_like_pcm(std::max(len_frame, 1), 3);
    cod_swt(encoder, mode, in.data(), prm.data());
    if (len_frame == 110) {
      EXPECT_NE(memories(encoder), before);
    } else {
      EXPECT_THAT(std::vector<std::int32_t>(prm.begin() + 1, prm.end()), Each(-77));
      EXPECT_EQ(memories(encoder), before);
    }
  }
}

}  // namespace
}  // namespace quel
