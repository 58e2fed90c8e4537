#include "bitstream/flavor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <numeric>
#include <vector>

namespace quel {
namespace {

using Widths = std::vector<std::int32_t>;

Widths widths(int flavor) {
  const auto fields = flavors[static_cast<std::size_t>(flavor)].fields;
  return {fields.begin(), fields.end()};
}

// A frame's fields put together from what each stands for: indices of the spectrum, then the same
// group for each subframe, whose lag takes fewer bits where it is coded relative to the last one.
Widths composed(const Widths& spectrum, const Widths& lags, const Widths& rest) {
  Widths all = spectrum;
  for (const std::int32_t lag : lags) {
    all.push_back(lag);
    all.insert(all.end(), rest.begin(), rest.end());
  }
  return all;
}

TEST(Flavor, FieldsAreSpectrumThenSubframes) {
  const Widths isf = {6, 7, 7, 7, 5};
  EXPECT_EQ(widths(0), composed(isf, {8, 5, 5}, {5, 5, 5, 7}));
  EXPECT_EQ(widths(1), composed(isf, {8, 5, 5}, {9, 9, 9, 7}));
  EXPECT_EQ(widths(2), composed(isf, {8, 5, 8, 5, 5}, {10, 7}));
  EXPECT_EQ(widths(3), composed({1, 7, 8, 7, 7, 7}, {9, 6}, {4, 9, 9, 9, 9, 9, 5}));
}

TEST(Flavor, UnitsAreWholeBytesAndFramesAreWholeSubframes) {
  for (const Flavor& flavor : flavors) {
    const std::int32_t bits =
        std::accumulate(flavor.fields.begin(), flavor.fields.end(), std::int32_t{0});
    EXPECT_EQ(flavor.bits_per_frame(), bits);
    EXPECT_EQ(flavor.bytes_per_unit() * 8, bits * flavor.frames_per_unit);
    EXPECT_EQ(flavor.len_frame % (flavor.coder == Coder::wideband ? 80 : narrowband_subframe), 0);
    EXPECT_LE(flavor.len_frame, max_len_frame);
    EXPECT_LE(flavor.words(), max_words);
    EXPECT_LE(bits, 8 * max_frame_bytes);
    EXPECT_LE(flavor.frames_per_unit, max_frames_per_unit);
    // The encoder's array ends no later than the decoder's.
    EXPECT_LE(flavor.encoder_word() + static_cast<std::int32_t>(flavor.fields.size()),
              flavor.words());
  }
}

TEST(Flavor, ExactRatesAreNearTheNominal) {
  for (const Flavor& flavor : flavors) {
    EXPECT_NEAR(flavor.bit_rate(), flavor.nominal_rate, 0.014 * flavor.nominal_rate);
  }
}

TEST(Flavor, EveryEncodeOfAPlugInTakesSixteenFrames) {
  for (const Flavor& flavor : flavors) {
    EXPECT_EQ(units_per_call(flavor.frames_per_unit) * flavor.frames_per_unit, 16);
  }
}

TEST(Flavor, OthersAreNotFound) {
  for (int n = 0; n < 4; ++n) EXPECT_EQ(find_flavor(n), &flavors[static_cast<std::size_t>(n)]);
  for (const std::int64_t none : {std::int64_t{-1}, std::int64_t{4}, std::int64_t{1} << 32,
                                  std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_EQ(find_flavor(none), nullptr) << none;
  }
}

}  // namespace
}  // namespace quel
