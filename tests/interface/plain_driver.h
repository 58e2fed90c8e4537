#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bitstream/mode.h"
#include "bitstream/serial.h"
#include "narrowband/cod_swt.h"
#include "narrowband/dec_5swt.h"
#include "narrowband/dec_swt.h"
#include "wideband/cod_wb.h"
#include "wideband/dec_wb.h"

// What the frame drivers make of their input, put together from the coders of one frame with a
// packing, a mask and a count of lost frames of its own.

namespace quel::test {

struct PlainFlavor {
  std::size_t samples, bits;  // of a frame
};
inline constexpr PlainFlavor plain_flavors[] = {{144, 116}, {144, 152}, {240, 148}, {160, 160}};

using PlainWords = std::array<std::int32_t, 23>;
using PlainBits = std::vector<bool>;

/// The packing of a frame wants, and gives, little-endian words.
inline void plain_swap(PlainWords& words, int flavor) {
  if (std::endian::native == std::endian::big) SwapIntBytes(words.data(), flavor == 3 ? 23 : 21);
}

inline std::vector<std::uint8_t> packed(const PlainBits& bits) {
  std::vector<std::uint8_t> bytes(bits.size() / 8);
  for (std::size_t i = 0; i < bytes.size() * 8; ++i) {
    if (bits[i]) bytes[i / 8] = static_cast<std::uint8_t>(bytes[i / 8] | 1u << i % 8);
  }
  return bytes;
}

/// Codes whole frames, from load, to frames back to back.
inline std::vector<std::uint8_t> plain_encode(int flavor, const std::vector<std::int16_t>& pcm) {
  const auto [samples, frame_bits] = plain_flavors[flavor];
  Mode mode;
  set_mode(mode, flavor);
  NarrowbandEncoder narrowband;
  WidebandEncoder wideband;
  init_cod_swt(narrowband);
  init_coder_wb16(wideband);
  PlainBits bits;
  for (std::size_t at = 0; at + samples <= pcm.size(); at += samples) {
    PlainWords words{flavor};
    if (flavor == 3) {
      std::copy_n(&pcm[at], samples, new_speech2(wideband));
      coder_wb16(wideband, words.data());
    } else {
      cod_swt(narrowband, mode, &pcm[at], words.data());
    }
    plain_swap(words, flavor);
    std::array<std::uint8_t, 20> frame{};
    prm2binary(words.data(), frame.data(), flavor);
    for (std::size_t i = 0; i < frame_bits; ++i) bits.push_back((frame[i / 8] >> i % 8 & 1) != 0);
  }
  return packed(bits);
}

struct PlainDecoder {
  Mode mode{};
  SwtDecoder swt;
  FiveKDecoder five_k;
  WidebandDecoder wideband;
  NarrowbandDecoderShared shared;
  int lost = 0;  ///< frames still to be made up

  /// At load, then initialised.
  explicit PlainDecoder(int flavor) {
    set_mode(mode, flavor);
    init_dec_swt(swt, shared);
    init_decoder_5k(five_k, shared);
    init_decod_wb(wideband);
    shared.gBigEndian = std::endian::native == std::endian::big;
  }

  std::vector<std::int16_t> frame(int flavor, PlainWords words, bool conceal) {
    std::vector<std::int16_t> out(plain_flavors[flavor].samples);
    if (flavor == 3) {
      words[0] = conceal ? 1 : 0;
      decod_wb(wideband, words.data(), out.data());
    } else if (flavor == 2) {
      decoder_5k(five_k, shared, mode, words.data() + 1, out.data(), conceal ? 1 : 0);
    } else {
      dec_swt(swt, shared, mode, words.data(), out.data(), conceal ? 1 : 0);
    }
    return out;
  }

  /// One call of Decode.
  std::vector<std::int16_t> call(int flavor, const std::vector<std::uint8_t>& bytes,
                                 std::uint32_t mask) {
    const std::size_t frame_bits = plain_flavors[flavor].bits;
    std::vector<std::int16_t> out;
    for (std::size_t f = 0; (f + 1) * frame_bits <= bytes.size() * 8; ++f) {
      if (f >= 32 || (mask >> f & 1) == 0) {
        lost = std::min(lost + 1, 5);
        continue;
      }
      PlainBits bits(160);
      for (std::size_t i = 0; i < frame_bits; ++i) {
        const std::size_t at = f * frame_bits + i;
        bits[i] = (bytes[at / 8] >> at % 8 & 1) != 0;
      }
      PlainWords words{};
      binary2prm(words.data(), packed(bits).data(), flavor);
      plain_swap(words, flavor);
      for (; lost >= 0; --lost) {
        const auto samples = frame(flavor, words, /*conceal=*/lost > 0);
        out.insert(out.end(), samples.begin(), samples.end());
      }
      lost = 0;
    }
    return out;
  }
};

}  // namespace quel::test
