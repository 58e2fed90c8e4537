#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include "bitstream/flavor.h"
#include "interface/frame_driver.h"
#include "quelcodec/quelcodec.h"

struct quel_encoder {
  int flavor;
  quel::Mode mode;
  quel::FrameEncoder codec;
};

struct quel_decoder {
  int flavor;
  int concealment;
  quel::Mode mode;
  quel::FrameDecoder codec;
};

namespace quel {
namespace {

bool is_flavor(int flavor) {
  return find_flavor(flavor) != nullptr;
}

Mode mode_of(int flavor) {
  Mode mode;
  set_mode(mode, flavor);
  return mode;
}

// Takes the caller's options, which may be older (shorter) or newer (longer) than ours. What an
// older caller does not know keeps its default in `known`; what we do not know must be zero. A
// member added later must enlarge its struct, which therefore has no padding for it to hide in.
template <typename Options>
bool take_options(const Options* given, std::size_t oldest, Options& known) {
  static_assert(std::has_unique_object_representations_v<Options>);
  std::size_t size = 0;
  std::memcpy(&size, given, sizeof size);
  if (size < oldest) return false;
  std::memcpy(&known, given, std::min(size, sizeof known));
  const auto* bytes = reinterpret_cast<const unsigned char*>(given);
  for (std::size_t i = sizeof known; i < size; ++i) {
    if (bytes[i] != 0) return false;
  }
  return true;
}

// In place: a temporary of all that state would be most of the stack that a stream needs.
static_assert(std::is_trivially_destructible_v<FrameEncoder> &&
              std::is_trivially_destructible_v<FrameDecoder>);

void start(quel_encoder& stream) {
  stream.mode = mode_of(stream.flavor);
  std::construct_at(&stream.codec);
  const ScratchSwitch scratch(stream.codec.scratch);
  initVXEncoder(stream.codec);
}

void start(quel_decoder& stream) {
  stream.mode = mode_of(stream.flavor);
  std::construct_at(&stream.codec);
  const ScratchSwitch scratch(stream.codec.scratch);
  initVXDecoder(stream.codec);
  initVX5Decoder(stream.codec);
}

bool frame_received(std::uint32_t received, int frame) {
  return ((received >> frame) & 1u) != 0;
}

// Frames that decoding this unit would give.
int frames_due(const quel_decoder& stream, std::uint32_t received) {
  const int frames = stream.mode.framesPerCycle;
  if (stream.concealment == QUEL_CONCEAL_IMMEDIATE) return frames;
  int due = 0;
  int missing = stream.codec.numPacketsMissing;
  for (int frame = 0; frame < frames; ++frame) {
    if (frame_received(received, frame)) {
      due += missing + 1;
      missing = 0;
    } else {
      missing = std::min(missing + 1, static_cast<int>(max_packets_missing));
    }
  }
  return due;
}

int decode_immediate(quel_decoder& stream, const std::uint8_t* unit, std::uint32_t received,
                     std::int16_t* pcm) {
  const Mode& mode = stream.mode;
  for (int frame = 0; frame < mode.framesPerCycle; ++frame) {
    const Erasure erasure = frame_received(received, frame) ? Erasure::received : Erasure::lost;
    decode_frame(stream.codec, mode, unit, frame * mode.prmBits, erasure,
                 static_cast<std::uint32_t>(stream.flavor), pcm + frame * mode.len_frame);
  }
  return mode.framesPerCycle * mode.len_frame;
}

int decode_deferred(quel_decoder& stream, const std::uint8_t* unit, std::uint32_t received,
                    std::int16_t* pcm) {
  // Nothing of a lost frame is looked at, but the driver walks over its bits.
  static constexpr std::uint8_t nothing[QUEL_MAX_BYTES] = {};
  const auto bytes = static_cast<std::uint32_t>(stream.mode.outputBytes);
  const auto flavor = static_cast<std::uint32_t>(stream.flavor);
  std::int32_t samples = 0;
  // The drivers of the flavors differ by name only.
  VXDecode(stream.codec, stream.mode, unit != nullptr ? unit : nothing, pcm, bytes, &received,
           flavor, &samples);
  return samples;
}

}  // namespace
}  // namespace quel

using namespace quel;

const char* quel_error_text(int code) {
  switch (code) {
    case QUEL_ERROR_ARGUMENT:
      return "A pointer is null that must not be.";
    case QUEL_ERROR_FLAVOR:
      return "The flavor is not one of 0 to 3.";
    case QUEL_ERROR_OPTIONS:
      return "An option has a value or a size that this library does not know.";
    case QUEL_ERROR_MEMORY:
      return "There is no memory for the stream.";
    case QUEL_ERROR_LENGTH:
      return "The input is not exactly one unit.";
    case QUEL_ERROR_CAPACITY:
      return "The output buffer is too small.";
    default:
      return code >= 0 ? "Success." : "Unknown error code.";
  }
}

int quel_encoder_create(const quel_encoder_options* options, quel_encoder** encoder) {
  if (options == nullptr || encoder == nullptr) return QUEL_ERROR_ARGUMENT;
  quel_encoder_options known = QUEL_ENCODER_OPTIONS(0);
  if (!take_options(options, sizeof known, known)) return QUEL_ERROR_OPTIONS;
  if (known.reserved != 0) return QUEL_ERROR_OPTIONS;
  if (!is_flavor(known.flavor)) return QUEL_ERROR_FLAVOR;
  auto* stream = new (std::nothrow) quel_encoder{known.flavor, {}, {}};
  if (stream == nullptr) return QUEL_ERROR_MEMORY;
  start(*stream);
  *encoder = stream;
  return QUEL_OK;
}

void quel_encoder_destroy(quel_encoder* encoder) {
  delete encoder;
}

int quel_encoder_reset(quel_encoder* encoder) {
  if (encoder == nullptr) return QUEL_ERROR_ARGUMENT;
  start(*encoder);
  return QUEL_OK;
}

int quel_encoder_flavor(const quel_encoder* encoder) {
  return encoder == nullptr ? QUEL_ERROR_ARGUMENT : encoder->flavor;
}

int quel_encode(quel_encoder* encoder, const int16_t* pcm, size_t samples, uint8_t* unit,
                size_t capacity) {
  if (encoder == nullptr || pcm == nullptr || unit == nullptr) return QUEL_ERROR_ARGUMENT;
  const Mode& mode = encoder->mode;
  const auto bytes = static_cast<std::size_t>(mode.outputBytes);
  if (samples != static_cast<std::size_t>(mode.framesPerCycle * mode.len_frame)) {
    return QUEL_ERROR_LENGTH;
  }
  if (capacity < bytes) return QUEL_ERROR_CAPACITY;
  const ScratchSwitch scratch(encoder->codec.scratch);
  VXEncode(encoder->codec, mode, pcm, unit, static_cast<std::uint32_t>(encoder->flavor));
  return mode.outputBytes;
}

int quel_decoder_create(const quel_decoder_options* options, quel_decoder** decoder) {
  if (options == nullptr || decoder == nullptr) return QUEL_ERROR_ARGUMENT;
  quel_decoder_options known = QUEL_DECODER_OPTIONS(0);
  if (!take_options(options, sizeof known, known)) return QUEL_ERROR_OPTIONS;
  if (!is_flavor(known.flavor)) return QUEL_ERROR_FLAVOR;
  if (known.concealment != QUEL_CONCEAL_IMMEDIATE && known.concealment != QUEL_CONCEAL_DEFERRED) {
    return QUEL_ERROR_OPTIONS;
  }
  auto* stream = new (std::nothrow) quel_decoder{known.flavor, known.concealment, {}, {}};
  if (stream == nullptr) return QUEL_ERROR_MEMORY;
  start(*stream);
  *decoder = stream;
  return QUEL_OK;
}

void quel_decoder_destroy(quel_decoder* decoder) {
  delete decoder;
}

int quel_decoder_reset(quel_decoder* decoder) {
  if (decoder == nullptr) return QUEL_ERROR_ARGUMENT;
  start(*decoder);
  return QUEL_OK;
}

int quel_decoder_flavor(const quel_decoder* decoder) {
  return decoder == nullptr ? QUEL_ERROR_ARGUMENT : decoder->flavor;
}

int quel_decoder_max_samples(const quel_decoder* decoder) {
  if (decoder == nullptr) return QUEL_ERROR_ARGUMENT;
  const bool deferred = decoder->concealment == QUEL_CONCEAL_DEFERRED;
  const int carried_over = deferred ? max_packets_missing : 0;
  return (decoder->mode.framesPerCycle + carried_over) * decoder->mode.len_frame;
}

int quel_decode(quel_decoder* decoder, const uint8_t* unit, size_t bytes, uint32_t received,
                int16_t* pcm, size_t capacity) {
  if (decoder == nullptr) return QUEL_ERROR_ARGUMENT;
  const Mode& mode = decoder->mode;
  const bool none_received = (received & ((1u << mode.framesPerCycle) - 1u)) == 0;
  if (unit == nullptr && !none_received) return QUEL_ERROR_ARGUMENT;
  const auto wanted = unit == nullptr ? std::size_t{0} : static_cast<std::size_t>(mode.outputBytes);
  if (bytes != wanted) return QUEL_ERROR_LENGTH;
  const int due = frames_due(*decoder, received) * mode.len_frame;
  if (due > 0 && pcm == nullptr) return QUEL_ERROR_ARGUMENT;
  if (capacity < static_cast<std::size_t>(due)) return QUEL_ERROR_CAPACITY;
  const ScratchSwitch scratch(decoder->codec.scratch);
  return decoder->concealment == QUEL_CONCEAL_DEFERRED
             ? decode_deferred(*decoder, unit, received, pcm)
             : decode_immediate(*decoder, unit, received, pcm);
}
