#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace quel::tools {

/// A picture of at most 256 colours.
struct IndexedImage {
  std::size_t width = 0;                             ///< 1..2^31-1
  std::size_t height = 0;                            ///< likewise
  std::vector<std::array<std::uint8_t, 3>> palette;  ///< 1..256 colours: red, green, blue
  std::vector<std::uint8_t> pixels;  ///< width * height palette entries, top row first
};

/// A PNG file. Its pixels are not compressed, only framed: the writer stays small and so do the
/// pictures.
std::vector<std::uint8_t> png_bytes(const IndexedImage& image);

}  // namespace quel::tools
