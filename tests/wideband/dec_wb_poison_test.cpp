#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/signals.h"
#include "wideband/dec_wb.h"
#include "wideband/dec_wb_support.h"
#include "wideband/frames.h"

// How a decoder that hostile frames have left in an odd state comes back to a stream that it then
// joins in the middle.

namespace quel {
namespace {

using test::Random;
using test::random_words;
using test::Words;

constexpr std::size_t frame = 160, segment = 320, delay = 80;

/// A signal, its coded frames and what a decoder makes of them from the start.
struct Stream {
  explicit Stream(unsigned seed) : x(test::speech16(460, seed)), frames(test::encode(x)) {
    WidebandDecoder decoder;
    clean = test::decode(decoder, frames);
  }
  std::vector<float> x;
  std::vector<Words> frames;
  std::vector<std::int16_t> clean;
};

/// Segmental signal-to-noise ratios in dB, summed: 20 ms each, of those above -50 dBov, held to
/// -10..35 dB.
struct Segments {
  double sum = 0;
  int count = 0;
  double mean() const { return sum / count; }

  /// y holds the decoder's samples from sample `start` of the stream on; those from `first` to its
  /// end count.
  void add(const std::vector<float>& x, const std::int16_t* y, std::size_t n, std::size_t start,
           std::size_t first) {
    for (std::size_t i = first; i + segment <= n; i += segment) {
      double signal = 0, error = 0;
      for (std::size_t k = i; k < i + segment; ++k) {
        const double in = x[start + k - delay];
        signal += in * in;
        error += std::pow(in - y[k], 2);
      }
      if (std::sqrt(signal / segment) < 32768 * std::pow(10, -50.0 / 20)) continue;
      sum += std::clamp(10 * std::log10(signal / (error + 1e-9)), -10.0, 35.0);
      ++count;
    }
  }
};

/// A fifth of a second of random frames.
void decode_anything(WidebandDecoder& decoder, Random& random) {
  for (int k = 0; k < 20; ++k) test::decode(decoder, random_words(random));
}

/// Frames of the largest pitch gain at the shortest lag until the histories are cleared; code gains
/// are random, or the largest too.
void decode_until_cleared(WidebandDecoder& decoder, Random& random, bool largest) {
  for (int k = 0; k < 400; ++k) {
    Words words = random_words(random);
    words[7] = words[15] = 0;
    words[8] = words[16] = 15;
    if (largest) words[14] = words[22] = 31;
    test::decode(decoder, words);
    const auto& exc = decoder.exc;
    if (std::all_of(exc.begin(), exc.end(), [](float v) { return v == 0.0f; })) return;
  }
  FAIL() << "the excitation never grew beyond all bounds";
}

/// Mean segmental ratio that poisoned decoders lose against unpoisoned ones at 200 places, from
/// `settle` frames after the place on, `length` frames in all.
template <typename Poison>
double loss_at_200_places(Poison poison, std::size_t settle, std::size_t length) {
  Segments poisoned, clean;
  int places = 0;
  for (unsigned seed = 0; seed < 4; ++seed) {
    const Stream stream(seed);
    for (std::size_t place = 10; place < 310; place += 6) {
      Random random(1000 * seed + place);
      WidebandDecoder decoder;
      poison(decoder, random);
      const auto at = stream.frames.begin() + static_cast<std::ptrdiff_t>(place);
      const auto y =
          test::decode(decoder, std::vector<Words>(at, at + static_cast<std::ptrdiff_t>(length)));
      const std::size_t start = place * frame;
      poisoned.add(stream.x, y.data(), y.size(), start, settle * frame);
      clean.add(stream.x, stream.clean.data() + start, y.size(), start, settle * frame);
      ++places;
    }
  }
  EXPECT_EQ(places, 200);
  EXPECT_EQ(poisoned.count, clean.count);
  EXPECT_GT(clean.count, 1000);
  EXPECT_GT(clean.mean(), 10.0);  // the ratio of sound speech, not of segments held at -10 dB
  return clean.mean() - poisoned.mean();
}

TEST(DecodWbPoison, ClearedHistoriesCostNothingFrom300MillisecondsOn) {
  const auto poison = [](auto& decoder, auto& random) {
    decode_until_cleared(decoder, random, /*largest=*/false);
  };
  EXPECT_LT(loss_at_200_places(poison, 30, 150), 0.5);  // 0.3 dB
}

TEST(DecodWbPoison, ClearedHistoriesUnderTheHighestPredictionCostNothingFromOneSecondOn) {
  // The energy predictor goes on through a clearing. After the largest corrections it asks for
  // tens of dB too much of the first good subframes, and that has to ring out.
  const auto poison = [](auto& decoder, auto& random) {
    decode_until_cleared(decoder, random, /*largest=*/true);
  };
  EXPECT_LT(loss_at_200_places(poison, 100, 150), 0.5);  // 0.01 dB
}

TEST(DecodWbPoison, WhateverWasLeftCostsNothingFromOneSecondOn) {
  EXPECT_LT(loss_at_200_places(decode_anything, 100, 150), 0.5);  // 0.02 dB
}

}  // namespace
}  // namespace quel
