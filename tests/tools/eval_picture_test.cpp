#include "tools/eval_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <sstream>

#include "tools/eval_png.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using test::Bytes;
using Pcm = std::vector<std::int16_t>;

Pcm tone(int n, double hertz, double rate, double amplitude) {
  Pcm pcm;
  for (int i = 0; i < n; ++i) {
    const double x = amplitude * std::sin(2.0 * std::numbers::pi * hertz * i / rate);
    pcm.push_back(static_cast<std::int16_t>(std::lround(x)));
  }
  return pcm;
}

std::uint32_t be32(const Bytes& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8 | bytes.at(at + i);
  return value;
}

/// Polynomial division, bit by bit from the definition: x^32 + x^26 + ... + 1 over the reflected
/// bytes, first 32 bits and the remainder inverted.
std::uint32_t plain_crc(const Bytes& bytes, std::size_t first, std::size_t last) {
  std::vector<int> bits;
  for (std::size_t i = first; i < last; ++i) {
    for (int b = 0; b < 8; ++b) bits.push_back(bytes[i] >> b & 1);
  }
  bits.insert(bits.end(), 32, 0);
  for (std::size_t i = 0; i < 32; ++i) bits[i] ^= 1;
  const int powers[] = {26, 23, 22, 16, 12, 11, 10, 8, 7, 5, 4, 2, 1, 0};
  for (std::size_t i = 0; i + 32 < bits.size(); ++i) {
    if (bits[i] == 0) continue;
    for (const int power : powers) bits[i + 32 - static_cast<std::size_t>(power)] ^= 1;
  }
  std::uint32_t crc = 0;
  for (std::size_t i = 0; i < 32; ++i) {
    crc |= static_cast<std::uint32_t>(bits[bits.size() - 32 + i] ^ 1) << i;
  }
  return crc;
}

struct Chunk {
  std::string type;
  Bytes data;
};

/// The chunks of a PNG file, their checksums looked at.
std::vector<Chunk> chunks(const Bytes& png) {
  EXPECT_EQ(Bytes(png.begin(), png.begin() + 8), (Bytes{0x89, 0x50, 0x4e, 0x47, 13, 10, 26, 10}));
  std::vector<Chunk> out;
  for (std::size_t at = 8; at < png.size();) {
    const std::size_t length = be32(png, at), data = at + 8, end = data + length;
    EXPECT_EQ(be32(png, end), plain_crc(png, at + 4, end));
    const auto begin = png.begin();
    out.push_back({std::string(begin + static_cast<std::ptrdiff_t>(at + 4),
                               begin + static_cast<std::ptrdiff_t>(data)),
                   Bytes(begin + static_cast<std::ptrdiff_t>(data),
                         begin + static_cast<std::ptrdiff_t>(end))});
    at = end + 4;
  }
  return out;
}

/// What a zlib stream of stored blocks holds.
Bytes inflate_stored(const Bytes& stream) {
  EXPECT_EQ(stream[0], 0x78);
  EXPECT_EQ((stream[0] * 256 + stream[1]) % 31, 0);
  Bytes out;
  std::size_t at = 2;
  for (bool last = false; !last;) {
    last = stream.at(at) == 1;
    EXPECT_LE(stream[at], 1);
    const unsigned size = stream[at + 1] + 256u * stream[at + 2];
    EXPECT_EQ(stream[at + 3] + 256u * stream[at + 4], 65535u - size);
    const auto from = stream.begin() + static_cast<std::ptrdiff_t>(at + 5);
    out.insert(out.end(), from, from + static_cast<std::ptrdiff_t>(size));
    at += 5 + size;
  }
  std::uint64_t a = 1, b = 0;
  for (const std::uint8_t byte : out) b += a += byte;  // no overflow at these sizes
  EXPECT_EQ(be32(stream, at), (b % 65521) << 16 | a % 65521);
  EXPECT_EQ(at + 4, stream.size());
  return out;
}

TEST(PngBytes, HoldsThePixels) {
  // The last one fills more than one stored block, the one before exactly one.
  for (const auto& [width, height] :
       {std::pair{1u, 1u}, {3u, 2u}, {5u, 0u + 7u}, {4368u, 15u}, {300u, 400u}}) {
    SCOPED_TRACE(testing::Message() << width << " x " << height);
    IndexedImage image{width, height, {{0, 0, 0}, {255, 128, 1}, {7, 8, 9}}, {}};
    for (std::size_t i = 0; i < std::size_t{width} * height; ++i) {
      image.pixels.push_back(static_cast<std::uint8_t>(i * i % 3));
    }
    const auto parts = chunks(png_bytes(image));
    ASSERT_EQ(parts.size(), 4u);
    EXPECT_EQ(parts[0].type, "IHDR");
    EXPECT_EQ(be32(parts[0].data, 0), width);
    EXPECT_EQ(be32(parts[0].data, 4), height);
    EXPECT_EQ(Bytes(parts[0].data.begin() + 8, parts[0].data.end()), (Bytes{8, 3, 0, 0, 0}));
    EXPECT_EQ(parts[1].type, "PLTE");
    EXPECT_EQ(parts[1].data, (Bytes{0, 0, 0, 255, 128, 1, 7, 8, 9}));
    EXPECT_EQ(parts[2].type, "IDAT");
    EXPECT_EQ(parts[3].type, "IEND");
    EXPECT_TRUE(parts[3].data.empty());
    Bytes rows;
    for (std::size_t y = 0; y < height; ++y) {
      rows.push_back(0);
      for (std::size_t x = 0; x < width; ++x) rows.push_back(image.pixels[y * width + x]);
    }
    EXPECT_EQ(inflate_stored(parts[2].data), rows);
  }
}

TEST(Spectrogram, AFullScaleToneHasItsLevelAndPlace) {
  for (const int rate : {8000, 16000}) {
    // 31.25 Hz a bin at both rates (256 and 512 points): 1000 Hz is bin 32.
    const auto levels = spectrogram(tone(rate, 1000.0, rate, 32767.0), rate, 50);
    ASSERT_EQ(levels.columns, 50u);
    ASSERT_EQ(levels.bins, static_cast<std::size_t>(rate) / 8000 * 128 + 1);
    for (std::size_t c = 5; c < 45; ++c) {
      const auto column = levels.level.begin() + static_cast<std::ptrdiff_t>(c * levels.bins);
      const auto peak = std::max_element(column, column + static_cast<std::ptrdiff_t>(levels.bins));
      EXPECT_EQ(peak - column, 32);
      EXPECT_NEAR(*peak, 0.0f, 0.01f);  // 32767 is 0.0003 dB below full scale; samples are rounded
    }
  }
}

TEST(Spectrogram, SeesAClickAnywhereInALongSound) {
  for (const int at : {0, 7777, 79999}) {
    Pcm pcm(80000);
    pcm[static_cast<std::size_t>(at)] = 20000;
    const auto levels = spectrogram(pcm, 8000, 10);  // a column is 1 s, a frame 32 ms
    ASSERT_EQ(levels.columns, 10u);
    EXPECT_GT(loudest(levels), -100.0f) << at;
  }
}

TEST(Spectrogram, ShortSounds) {
  EXPECT_EQ(spectrogram({}, 8000, 900).columns, 0u);
  const auto one = spectrogram(Pcm{1000}, 8000, 900);
  EXPECT_EQ(one.columns, 1u);
  EXPECT_EQ(one.level.size(), one.bins);
}

TEST(Picture, LowFrequenciesAtTheBottomLoudIsDark) {
  Spectrogram levels{2, 3, {0.0f, -35.0f, -70.0f, -200.0f, 10.0f, -70.0f}};
  const auto image = picture(levels, 0.0f);
  EXPECT_EQ(image.width, 2u);
  EXPECT_EQ(image.height, 3u);
  EXPECT_EQ(image.pixels, (Bytes{0, 0, 128, 255, 255, 0}));
  ASSERT_EQ(image.palette.size(), 256u);
  const auto brightness = [&](std::size_t i) {
    return 0.3 * image.palette[i][0] + 0.6 * image.palette[i][1] + 0.1 * image.palette[i][2];
  };
  for (std::size_t i = 1; i < 256; ++i) EXPECT_LT(brightness(i), brightness(i - 1) + 1e-9) << i;
}

/// The points of a path that consists of M, L and Z.
std::vector<std::pair<double, double>> points(std::string path) {
  EXPECT_EQ(path.front(), 'M');
  EXPECT_EQ(path.back(), 'Z');
  for (char& c : path) {
    if (c == 'M' || c == 'L' || c == 'Z' || c == ',') c = ' ';
  }
  std::istringstream text(path);
  std::vector<std::pair<double, double>> out;
  for (double x = 0.0, y = 0.0; text >> x >> y;) out.emplace_back(x, y);
  return out;
}

TEST(Outline, GoesThroughHighestAndLowest) {
  Pcm pcm(40);
  pcm[3] = 16384;
  pcm[25] = -32768;
  const auto path = points(outline(pcm, 4, 100.0));  // 10 samples a column
  ASSERT_EQ(path.size(), 8u);
  EXPECT_EQ(path[0], std::pair(0.5, 25.0));
  EXPECT_EQ(path[1], std::pair(1.5, 50.0));
  EXPECT_EQ(path[2], std::pair(2.5, 50.0));
  EXPECT_EQ(path[4], std::pair(3.5, 50.0));  // backwards
  EXPECT_EQ(path[5], std::pair(2.5, 100.0));
  EXPECT_EQ(path[7], std::pair(0.5, 50.0));
}

TEST(Outline, FewerSamplesThanColumnsFillTheWidth) {
  EXPECT_EQ(outline({}, 900, 90.0), "");
  const auto one = points(outline(Pcm{0}, 900, 90.0));
  ASSERT_EQ(one.size(), 2u);
  EXPECT_EQ(one[0], std::pair(450.0, 45.0));
  const auto two = points(outline(Pcm{0, 0}, 900, 90.0));
  ASSERT_EQ(two.size(), 4u);
  EXPECT_EQ(two[1], std::pair(675.0, 45.0));
}

}  // namespace
}  // namespace quel::tools
