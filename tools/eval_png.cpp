#include "tools/eval_png.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace quel::tools {
namespace {

using Bytes = std::vector<std::uint8_t>;

void put_be32(Bytes& out, std::size_t value) {
  for (int shift = 24; shift >= 0; shift -= 8)
    out.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::uint32_t crc32(std::span<const std::uint8_t> bytes) {
  std::uint32_t crc = 0xffffffffu;
  for (const std::uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1u) != 0 ? 0xedb88320u : 0u);
  }
  return ~crc;
}

std::uint32_t adler32(std::span<const std::uint8_t> bytes) {
  std::uint32_t a = 1, b = 0;
  for (const std::uint8_t byte : bytes) {
    a = (a + byte) % 65521u;
    b = (b + a) % 65521u;
  }
  return b << 16 | a;
}

void put_chunk(Bytes& out, std::string_view type, const Bytes& data) {
  put_be32(out, data.size());
  const std::size_t start = out.size();
  out.insert(out.end(), type.begin(), type.end());
  out.insert(out.end(), data.begin(), data.end());
  put_be32(out, crc32(std::span(out).subspan(start)));
}

/// A zlib stream of stored blocks.
Bytes stored(const Bytes& data) {
  constexpr std::size_t block = 65535;
  Bytes out = {0x78, 0x01};
  for (std::size_t start = 0; start < data.size(); start += block) {
    const std::size_t count = std::min(block, data.size() - start);
    out.push_back(start + count == data.size() ? 1 : 0);
    for (const std::size_t size : {count, ~count}) {
      out.push_back(static_cast<std::uint8_t>(size));
      out.push_back(static_cast<std::uint8_t>(size >> 8));
    }
    const auto from = data.begin() + static_cast<std::ptrdiff_t>(start);
    out.insert(out.end(), from, from + static_cast<std::ptrdiff_t>(count));
  }
  put_be32(out, adler32(data));
  return out;
}

}  // namespace

std::vector<std::uint8_t> png_bytes(const IndexedImage& image) {
  Bytes out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
  Bytes header;
  put_be32(header, image.width);
  put_be32(header, image.height);
  header.insert(header.end(), {8, 3, 0, 0, 0});  // 8 bits, palette, no interlacing
  put_chunk(out, "IHDR", header);

  Bytes palette;
  for (const auto& colour : image.palette) {
    palette.insert(palette.end(), colour.begin(), colour.end());
  }
  put_chunk(out, "PLTE", palette);

  Bytes rows;
  for (std::size_t y = 0; y < image.height; ++y) {
    rows.push_back(0);  // unfiltered
    const auto row = image.pixels.begin() + static_cast<std::ptrdiff_t>(y * image.width);
    rows.insert(rows.end(), row, row + static_cast<std::ptrdiff_t>(image.width));
  }
  put_chunk(out, "IDAT", stored(rows));
  put_chunk(out, "IEND", {});
  return out;
}

}  // namespace quel::tools
