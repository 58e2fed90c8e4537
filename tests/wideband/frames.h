#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "dsp/scratch.h"
#include "support/signals.h"
#include "wideband/cod_wb.h"
#include "wideband/dec_wb.h"

namespace quel::test {

/// A frame as the decoder takes it: the lost-frame flag, then the encoder's 22 words.
using Words = std::array<std::int32_t, 23>;
using Pcm = std::array<std::int16_t, 160>;

/// Bits of each word, flag apart.
inline constexpr std::array<int, 22> word_bits = {1, 7, 8, 7, 7, 7, 9, 4, 9, 9, 9,
                                                  9, 9, 5, 6, 4, 9, 9, 9, 9, 9, 5};

inline Words random_words(Random& random) {
  Words words{};
  for (std::size_t i = 0; i < 22; ++i) {
    words[i + 1] = static_cast<std::int32_t>(random.bits() & ((1u << word_bits[i]) - 1));
  }
  return words;
}

/// Encodes frame k of the signal.
inline Words encode_frame(WidebandEncoder& encoder, const std::vector<float>& x, std::size_t k) {
  std::copy_n(x.begin() + static_cast<std::ptrdiff_t>(160 * k), 160, new_speech2(encoder));
  Words words{};
  coder_wb16(encoder, words.data() + 1);
  return words;
}

inline std::vector<Words> encode(const std::vector<float>& x) {
  WidebandEncoder encoder;
  std::vector<Words> frames(x.size() / 160);
  for (std::size_t k = 0; k < frames.size(); ++k) frames[k] = encode_frame(encoder, x, k);
  return frames;
}

inline std::vector<std::int16_t> decode(WidebandDecoder& decoder,
                                        const std::vector<Words>& frames) {
  std::vector<std::int16_t> y(frames.size() * 160);
  for (std::size_t k = 0; k < frames.size(); ++k) {
    decod_wb(decoder, frames[k].data(), y.data() + 160 * k);
  }
  return y;
}

/// 16 kHz signal in whole PCM values.
inline std::vector<float> speech16(int frames, std::uint64_t seed) {
  std::vector<float> x = speech_like(160 * frames, seed, 16000.0);
  for (float& v : x) v = std::round(v);
  return x;
}

/// Bytes of the area that were written below its top.
inline std::size_t scratch_used(const ScratchArea& area, std::byte paint) {
  const auto* lowest = std::find_if(std::begin(area.bytes), std::end(area.bytes),
                                    [paint](std::byte b) { return b != paint; });
  return static_cast<std::size_t>(std::end(area.bytes) - lowest);
}

}  // namespace quel::test
