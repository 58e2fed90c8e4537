#include "loss_figures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace quel::bench {
namespace {

using Pcm = std::vector<std::int16_t>;

constexpr int rate = 8000;
constexpr std::size_t block = 80;

// Blocks of one level each, full scale being 32768.
Pcm blocks(std::initializer_list<int> levels) {
  Pcm pcm;
  for (const int level : levels) pcm.insert(pcm.end(), block, static_cast<std::int16_t>(level));
  return pcm;
}

TEST(LossFigures, CountsBlocksByHowFarTheyAreFromTheClean) {
  const Pcm clean = blocks({300, 300, 300, 300, 300, 1000, 100, 300});
  // 5.1, 6.4 and 13.1 dB above; 12.0 (3.98 times) and 12.5 below; 6.6 above; too quiet to
  // count; the same
  const Pcm heard = blocks({540, 627, 1356, 76, 71, 2138, 3000, 300});
  const LossFigures figures = loss_figures(clean, heard, std::vector<bool>(4), 160, rate);
  EXPECT_EQ(figures.blocks, 7u);
  EXPECT_EQ(figures.above_6, 3u);
  EXPECT_EQ(figures.above_12, 1u);
  EXPECT_EQ(figures.loud, 2u);  // 1356 is -27.7 dBov, 2138 is -23.7, 627 is -34.4
  EXPECT_EQ(figures.below_12, 1u);
  EXPECT_NEAR(figures.highest, 13.1, 0.01);
}

TEST(LossFigures, ALossHasRecoveredWhereNothingDiffersAnyMoreBeforeTheNext) {
  const std::size_t frame = 160;
  const std::vector<bool> lost = {false, true, false, false, false, true, true, false, false};
  const Pcm clean(9 * frame, 1000);
  Pcm heard = clean;
  std::fill_n(heard.begin() + 160, 160, std::int16_t{0});
  heard[2 * frame + 3] = 0;  // first block behind the first loss: a difference of 80 squared
  heard[3 * frame + block] = -3000;  // fourth block: 4000^2 / 80 is more than a tenth squared
  const LossFigures figures = loss_figures(clean, heard, lost, frame, rate);
  ASSERT_EQ(figures.recovery.size(), 2u);
  EXPECT_DOUBLE_EQ(figures.recovery[0], 0.04);
  EXPECT_DOUBLE_EQ(figures.recovery[1], 0.0);
}

}  // namespace
}  // namespace quel::bench
