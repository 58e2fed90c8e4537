#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "support/signals.h"
#include "wideband/cod_wb.h"
#include "wideband/cod_wb_support.h"
#include "wideband/frames.h"
#include "wideband/q_lsp.h"

namespace quel {
namespace {

using test::Words;

TEST(CoderWb16Steps, EveryStepMeetsTheSignalsOfAPlainFormulation) {
  int short_lags = 0, gains = 0, signs = 0;
  for (unsigned seed = 0; seed < 3; ++seed) {
    const auto x = test::speech16(60, seed);
    WidebandEncoder encoder;
    for (std::size_t k = 0; k < 60; ++k) {
      SCOPED_TRACE(testing::Message() << "signal " << seed << ", frame " << k);
      std::copy_n(x.begin() + static_cast<std::ptrdiff_t>(160 * k), 160, new_speech2(encoder));
      const WidebandEncoder before = encoder;
      Words words{};
      coder_wb16(encoder, words.data() + 1);
      test::PlainEncoderFrame frame(before, encoder, words);
      frame.check();
      ASSERT_FALSE(HasFailure());
      short_lags += frame.lags_shorter_than_the_subframe;
      gains += frame.decided_gains;
      signs += frame.decided_signs;
    }
  }
  EXPECT_GT(short_lags, 50);
  EXPECT_GT(gains, 50);
  EXPECT_GT(signs, 5000);
}

TEST(CoderWb16Steps, SpectrumWithoutSixteenLinesRepeatsTheLastOne) {
  const auto x = test::speech16(30, 5);
  WidebandEncoder encoder;
  for (std::size_t k = 0; k < 30; ++k) test::encode_frame(encoder, x, k);
  encoder.speech[400] = std::nanf("");  // no recursion, no lines
  const auto last = encoder.old_lsp;
  LsfQuantizer quantizer = encoder.lsf;
  auto lsp = last;
  std::array<std::int32_t, 6> indices;
  q_lsp(quantizer, lsp.data(), indices.data());
  Words words{};
  coder_wb16(encoder, words.data() + 1);
  EXPECT_TRUE(std::equal(indices.begin(), indices.end(), words.begin() + 1));
  EXPECT_EQ(encoder.old_lsp, lsp);
}

}  // namespace
}  // namespace quel
