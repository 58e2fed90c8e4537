#include "bitstream/serial.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "bitstream/flavor.h"

namespace quel {

namespace {

std::uint32_t little_endian(const std::uint8_t* bytes) {
  return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
         static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
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
  // Whole words where the destination's bytes are filled from their first bit on, and their source
  // and the byte behind it hold bits that are wanted.
  if (d == 0) {
    for (; nBits >= 40; nBits -= 32, dst += 4, src += 4) {
      const std::uint64_t five = little_endian(src) | std::uint64_t{src[4]} << 32;
      const auto bits = static_cast<std::uint32_t>(five >> s);
      for (int k = 0; k < 4; ++k) dst[k] = static_cast<std::uint8_t>(bits >> (8 * k));
    }
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
  const Flavor* facts = find_flavor(flavor);
  if (facts == nullptr) return;
  const std::int32_t* word = prm + facts->encoder_word();
  std::int32_t position = 0;
  for (const std::int32_t width : facts->fields) {
    bitcopy(bits, reinterpret_cast<const std::uint8_t*>(word), position, 0, width);
    position += width;
    ++word;
  }
}

void binary2prm(std::int32_t* prm, const std::uint8_t* bits, std::int32_t flavor) {
  const Flavor* facts = find_flavor(flavor);
  if (facts == nullptr) return;
  // The flavor or, wideband, the bad-frame flag. In the host's own order, unlike the fields: the
  // decoder that reads it undoes the swap that a big-endian host gives the whole array.
  prm[0] = facts->coder == Coder::wideband ? 0 : flavor;
  // A field lies within the four bytes from its first one on; behind the frame stand zeros.
  static_assert(widest_field <= 16);
  std::array<std::uint8_t, max_frame_bytes + 3> frame{};
  std::copy_n(bits, (facts->bits_per_frame() + 7) / 8, frame.data());
  std::int32_t* word = prm + 1;
  std::int32_t position = 0;
  for (const std::int32_t width : facts->fields) {
    const std::uint32_t from_first = little_endian(frame.data() + position / 8);
    const std::uint32_t value = from_first >> (position % 8) & ((1u << width) - 1u);
    // Little-endian, as the fields' own bytes are.
    const std::array<std::uint8_t, 4> bytes = {static_cast<std::uint8_t>(value),
                                               static_cast<std::uint8_t>(value >> 8)};
    std::memcpy(word, bytes.data(), sizeof *word);
    position += width;
    ++word;
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
