// Units taken apart, put together, and what their frames stand for.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bitstream/flavor.h"
#include "bitstream/serial.h"
#include "dsp/scratch.h"
#include "interface/frame_description.h"
#include "interface/frame_driver.h"
#include "interface/stream_state.h"
#include "quelcodec/quelcodec.h"

namespace quel {
namespace {

// A parameter array as the bit packing takes it.
using Words = std::array<std::int32_t, max_words>;
using FrameBits = std::array<std::uint8_t, max_frame_bytes>;

void swap_to_host(Words& words) {
  if (TestBigEndian() != 0) SwapIntBytes(words.data(), static_cast<std::int32_t>(words.size()));
}

bool fit(const Flavor& facts, const std::int32_t* indices) {
  for (const std::int32_t width : facts.fields) {
    if (*indices < 0 || *indices >> width != 0) return false;
    ++indices;
  }
  return true;
}

FrameBits pack_frame(int flavor, const Flavor& facts, const std::int32_t* indices) {
  Words words{};
  std::copy_n(indices, facts.fields.size(), words.begin() + facts.encoder_word());
  swap_to_host(words);
  FrameBits bits{};
  prm2binary(words.data(), bits.data(), flavor);
  return bits;
}

// A stream's next frame, without its sound.
void skip_frame(const quel_decoder& stream, const DecoderParts& parts, const std::uint8_t* bits) {
  SampleSink nowhere;
  const auto take =
      stream.concealment == QUEL_CONCEAL_DEFERRED ? take_frame_deferred : take_frame_at_once;
  take(parts, stream.mode, bits, 0, static_cast<std::uint32_t>(stream.flavor), nowhere);
}

}  // namespace
}  // namespace quel

using namespace quel;

int quel_unit_unpack(int flavor, const uint8_t* unit, size_t bytes, int32_t* indices,
                     size_t capacity) {
  const Flavor* facts = find_flavor(flavor);
  if (facts == nullptr) return QUEL_ERROR_FLAVOR;
  if (unit == nullptr || indices == nullptr) return QUEL_ERROR_ARGUMENT;
  if (bytes != static_cast<std::size_t>(facts->bytes_per_unit())) return QUEL_ERROR_LENGTH;
  const std::size_t per_frame = facts->fields.size();
  const std::size_t count = static_cast<std::size_t>(facts->frames_per_unit) * per_frame;
  if (capacity < count) return QUEL_ERROR_CAPACITY;
  for (std::int32_t frame = 0; frame < facts->frames_per_unit; ++frame) {
    FrameBits bits{};
    bitcopy(bits.data(), unit, 0, frame * facts->bits_per_frame(), facts->bits_per_frame());
    Words words{};
    binary2prm(words.data(), bits.data(), flavor);
    swap_to_host(words);
    indices = std::copy_n(words.begin() + 1, per_frame, indices);
  }
  return static_cast<int>(count);
}

int quel_unit_pack(int flavor, const int32_t* indices, size_t count, uint8_t* unit,
                   size_t capacity) {
  const Flavor* facts = find_flavor(flavor);
  if (facts == nullptr) return QUEL_ERROR_FLAVOR;
  if (unit == nullptr || indices == nullptr) return QUEL_ERROR_ARGUMENT;
  const std::size_t per_frame = facts->fields.size();
  if (count != static_cast<std::size_t>(facts->frames_per_unit) * per_frame) {
    return QUEL_ERROR_LENGTH;
  }
  const std::int32_t bytes = facts->bytes_per_unit();
  if (capacity < static_cast<std::size_t>(bytes)) return QUEL_ERROR_CAPACITY;
  for (std::size_t k = 0; k < count; k += per_frame) {
    if (!fit(*facts, indices + k)) return QUEL_ERROR_RANGE;
  }
  std::fill_n(unit, bytes, std::uint8_t{0});
  for (std::int32_t frame = 0; frame < facts->frames_per_unit; ++frame) {
    const FrameBits bits = pack_frame(flavor, *facts, indices);
    bitcopy(unit, bits.data(), frame * facts->bits_per_frame(), 0, facts->bits_per_frame());
    indices += per_frame;
  }
  return bytes;
}

int quel_frame_describe(quel_decoder* decoder, const int32_t* indices, size_t count,
                        quel_frame* frame) {
  if (decoder == nullptr || frame == nullptr) return QUEL_ERROR_ARGUMENT;
  if (frame->size < sizeof(quel_frame)) return QUEL_ERROR_OPTIONS;
  const Flavor& facts = flavors[static_cast<std::size_t>(decoder->flavor)];
  if (count != (indices == nullptr ? 0 : facts.fields.size())) return QUEL_ERROR_LENGTH;
  if (indices != nullptr && !fit(facts, indices)) return QUEL_ERROR_RANGE;
  const std::size_t size = frame->size;
  std::memset(frame, 0, sizeof *frame);
  frame->size = size;
  const ScratchSwitch scratch(decoder->scratch);
  const DecoderParts parts = parts_of(*decoder);
  if (indices == nullptr) {
    skip_frame(*decoder, parts, nullptr);
    return QUEL_OK;
  }
  const FrameBits bits = pack_frame(decoder->flavor, facts, indices);
  make_up_missing(parts, decoder->mode, bits.data(), 0,
                  static_cast<std::uint32_t>(decoder->flavor));
  // A decoder that runs behind its input stands before this frame once it has been given it.
  if (facts.frames_behind > 0) skip_frame(*decoder, parts, bits.data());
  describe_frame(parts, decoder->mode, indices, *frame);
  if (facts.frames_behind == 0) skip_frame(*decoder, parts, bits.data());
  return QUEL_OK;
}
