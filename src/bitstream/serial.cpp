#include "bitstream/serial.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

namespace quel {
namespace {

// Width of each field in stream order. Entry 0 of the narrowband tables keeps the entries in step
// with the parameter words; word 0 itself is not sent.
constexpr std::int32_t bit_6k5[] = {1, 6, 7, 7, 7, 5,  //
                                    8, 5, 5, 5, 7,     //
                                    5, 5, 5, 5, 7,     //
                                    5, 5, 5, 5, 7};
constexpr std::int32_t bit_8k5[] = {1, 6, 7, 7, 7, 5,  //
                                    8, 9, 9, 9, 7,     //
                                    5, 9, 9, 9, 7,     //
                                    5, 9, 9, 9, 7};
constexpr std::int32_t bit_5k0[] = {1, 6,  7, 7, 7, 5,  //
                                    8, 10, 7,           //
                                    5, 10, 7,           //
                                    8, 10, 7,           //
                                    5, 10, 7,           //
                                    5, 10, 7};
constexpr std::int32_t bit_16k0[] = {1, 7, 8, 7, 7, 7,        //
                                     9, 4, 9, 9, 9, 9, 9, 5,  //
                                     6, 4, 9, 9, 9, 9, 9, 5};

template <std::size_t n>
constexpr std::int32_t sum_from(const std::int32_t (&widths)[n], std::size_t first) {
  std::int32_t sum = 0;
  for (std::size_t k = first; k < n; ++k) sum += widths[k];
  return sum;
}
static_assert(std::size(bit_6k5) == 21 && sum_from(bit_6k5, 1) == 116);
static_assert(std::size(bit_8k5) == 21 && sum_from(bit_8k5, 1) == 152);
static_assert(std::size(bit_5k0) == 21 && sum_from(bit_5k0, 1) == 148);
static_assert(std::size(bit_16k0) == 22 && sum_from(bit_16k0, 0) == 160);

// The fields of one flavor, and where they start in the table and in either side's array.
struct Layout {
  const std::int32_t* widths = nullptr;
  std::int32_t count = 0;
  std::int32_t encoder_word = 0;
  std::int32_t decoder_word = 0;
  std::int32_t decoder_head = 0;  // word 0 of the decoder's array
};

Layout layout_of(std::int32_t flavor) {
  switch (flavor) {
    case 0:
      return {bit_6k5 + 1, 20, 1, 1, flavor};
    case 1:
      return {bit_8k5 + 1, 20, 1, 1, flavor};
    case 2:
      return {bit_5k0 + 1, 20, 1, 1, flavor};
    case 3:
      return {bit_16k0, 22, 0, 1, 0};
    default:
      return {};
  }
}

}  // namespace

void bitcopy(std::uint8_t* dst, const std::uint8_t* src, std::int32_t dstBit, std::int32_t srcBit,
             std::int32_t nBits) {
  if (nBits < 1) return;
  dst += dstBit / 8;
  src += srcBit / 8;
  std::int32_t d = dstBit % 8;
  std::int32_t s = srcBit % 8;
  if (d == 0 && s == 0) {
    const std::int32_t whole = nBits / 8;
    std::memcpy(dst, src, static_cast<std::size_t>(whole));
    dst += whole;
    src += whole;
    nBits -= 8 * whole;
  }
  // One destination byte per turn; the source byte after the current one is read only where a bit
  // of it is wanted, since the buffer may end before it.
  while (nBits > 0) {
    const std::int32_t take = std::min(8 - d, nBits);
    std::uint32_t bits = static_cast<std::uint32_t>(src[0]) >> s;
    if (s + take > 8) bits |= static_cast<std::uint32_t>(src[1]) << (8 - s);
    const std::uint32_t mask = ((1u << take) - 1u) << d;
    *dst = static_cast<std::uint8_t>((*dst & ~mask) | ((bits << d) & mask));
    ++dst;
    d = 0;
    s += take;
    src += s / 8;
    s %= 8;
    nBits -= take;
  }
}

void prm2binary(const std::int32_t* prm, std::uint8_t* bits, std::int32_t flavor) {
  const Layout layout = layout_of(flavor);
  std::int32_t position = 0;
  for (std::int32_t k = 0; k < layout.count; ++k) {
    const auto* word = reinterpret_cast<const std::uint8_t*>(prm + layout.encoder_word + k);
    bitcopy(bits, word, position, 0, layout.widths[k]);
    position += layout.widths[k];
  }
}

void binary2prm(std::int32_t* prm, const std::uint8_t* bits, std::int32_t flavor) {
  const Layout layout = layout_of(flavor);
  if (layout.count == 0) return;
  // In the host's own order, unlike the fields: the decoder that reads it undoes the swap that a
  // big-endian host gives the whole array.
  prm[0] = layout.decoder_head;
  std::int32_t position = 0;
  for (std::int32_t k = 0; k < layout.count; ++k) {
    std::int32_t* word = prm + layout.decoder_word + k;
    *word = 0;
    bitcopy(reinterpret_cast<std::uint8_t*>(word), bits, 0, position, layout.widths[k]);
    position += layout.widths[k];
  }
}

std::int32_t TestBigEndian() {
  const std::int32_t word = 255;
  std::uint8_t first = 0;
  std::memcpy(&first, &word, 1);
  return first == 0 ? 1 : 0;
}

void SwapIntBytes(void* words, std::int32_t count) {
  auto* bytes = static_cast<std::uint8_t*>(words);
  for (std::int32_t k = 0; k < count; ++k, bytes += 4) std::reverse(bytes, bytes + 4);
}

}  // namespace quel
