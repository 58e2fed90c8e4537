#include <cstddef>
#include <memory>
#include <type_traits>

#include "bitstream/flavor.h"
#include "interface/frame_driver.h"
#include "interface/stream_options.h"
#include "interface/stream_state.h"
#include "quelcodec/quelcodec.h"

namespace quel {

EncoderParts parts_of(quel_encoder& stream) {
  return as_encoder(stream.flavor, stream.effort, [&](auto* type) -> EncoderParts {
    auto& whole = reinterpret_cast<decltype(*type)>(stream);
    EncoderParts of = [&]() -> EncoderParts {
      if constexpr (requires { whole.effort; }) {
        return {whole.coder, whole.effort};
      } else {
        return whole.coder;
      }
    }();
    of.silence = &stream.silence;
    return of;
  });
}

namespace {

bool at_once(const quel_decoder& stream) {
  return stream.concealment == QUEL_CONCEAL_IMMEDIATE;
}

DecoderParts parts(quel_decoder& stream, SwtDecoders& coder) {
  DecoderParts parts(stream.driver, coder.shared, coder.own);
  if (at_once(stream)) parts.narrowband_concealment = &coder.concealment;
  return parts;
}
DecoderParts parts(quel_decoder& stream, FiveKDecoders& coder) {
  DecoderParts parts(stream.driver, coder.shared, coder.own);
  if (at_once(stream)) parts.narrowband_concealment = &coder.concealment;
  return parts;
}
DecoderParts parts(quel_decoder& stream, WidebandDecoders& coder) {
  DecoderParts parts(stream.driver, coder.own);
  if (at_once(stream)) parts.wideband_concealment = &coder.concealment;
  return parts;
}

}  // namespace

DecoderParts parts_of(quel_decoder& stream) {
  return as_decoder(stream.flavor, [&](auto* type) {
    DecoderParts of = parts(stream, reinterpret_cast<decltype(*type)>(stream).coder);
    of.noise = &stream.noise;
    return of;
  });
}

namespace {

// What the caller asks of an encoder: QUEL_OK with it in `known`, or an error.
int take(const quel_encoder_options* options, quel_encoder_options& known) {
  if (options == nullptr) return QUEL_ERROR_ARGUMENT;
  if (!take_options(options, known)) return QUEL_ERROR_OPTIONS;
  if (find_flavor(known.flavor) == nullptr) return QUEL_ERROR_FLAVOR;
  return known.effort >= 0 && known.effort <= QUEL_MAX_EFFORT ? QUEL_OK : QUEL_ERROR_OPTIONS;
}

int take(const quel_decoder_options* options, quel_decoder_options& known) {
  if (options == nullptr) return QUEL_ERROR_ARGUMENT;
  if (!take_options(options, known)) return QUEL_ERROR_OPTIONS;
  if (find_flavor(known.flavor) == nullptr) return QUEL_ERROR_FLAVOR;
  const bool immediate = known.concealment == QUEL_CONCEAL_IMMEDIATE;
  if (!immediate && known.concealment != QUEL_CONCEAL_DEFERRED) return QUEL_ERROR_OPTIONS;
  return known.enhance == 0 || known.enhance == 1 ? QUEL_OK : QUEL_ERROR_OPTIONS;
}

// In place: a temporary of all that state would be most of the stack that a stream needs.
template <typename Stream>
void start(Stream& stream) {
  static_assert(std::is_trivially_copyable_v<Stream> && std::is_standard_layout_v<Stream>);
  set_mode(stream.head.mode, stream.head.flavor);
  std::construct_at(&stream.coder);
  if constexpr (requires { stream.effort; }) {
    std::construct_at(&stream.effort)->level = stream.head.effort;
  }
}

void start(quel_encoder& stream) {
  stream.silence = {};
  as_encoder(stream.flavor, stream.effort,
             [&](auto* type) { start(reinterpret_cast<decltype(*type)>(stream)); });
  init_parts(parts_of(stream));
}

void start(quel_decoder& stream) {
  stream.driver = {};
  stream.noise = {};
  as_decoder(stream.flavor, [&](auto* type) { start(reinterpret_cast<decltype(*type)>(stream)); });
  const DecoderParts parts = parts_of(stream);
  if (parts.five_k != nullptr) parts.five_k->enhanced.on = stream.enhance != 0;
  if (parts.wideband != nullptr) parts.wideband->pitch_postfilter.on = stream.enhance != 0;
  init_parts(parts);
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
      return "There is not enough memory for the stream.";
    case QUEL_ERROR_LENGTH:
      return "The input is not one unit, or whole units where the call takes many.";
    case QUEL_ERROR_CAPACITY:
      return "The output buffer is too small.";
    case QUEL_ERROR_ALIGNMENT:
      return "The memory for the stream is not aligned as max_align_t.";
    case QUEL_ERROR_RANGE:
      return "An index is more than its field holds, or negative.";
    default:
      return code >= 0 ? "Success." : "Unknown error code.";
  }
}

int quel_encoder_size(const quel_encoder_options* options) {
  quel_encoder_options known = QUEL_ENCODER_OPTIONS(0);
  const int result = take(options, known);
  if (result != QUEL_OK) return result;
  return as_encoder(known.flavor, known.effort,
                    [](auto* type) { return static_cast<int>(sizeof *type); });
}

int quel_encoder_init(void* memory, size_t bytes, const quel_encoder_options* options,
                      quel_encoder** encoder) {
  if (memory == nullptr || encoder == nullptr) return QUEL_ERROR_ARGUMENT;
  quel_encoder_options known = QUEL_ENCODER_OPTIONS(0);
  int result = take(options, known);
  if (result == QUEL_OK) result = check_memory(memory, bytes, quel_encoder_size(options));
  if (result != QUEL_OK) return result;
  *encoder = as_encoder(known.flavor, known.effort, [&](auto* type) {
    return &std::construct_at(static_cast<decltype(type)>(memory))->head;
  });
  (*encoder)->flavor = known.flavor;
  (*encoder)->effort = known.effort;
  start(**encoder);
  return QUEL_OK;
}

int quel_encoder_reset(quel_encoder* encoder) {
  if (encoder == nullptr) return QUEL_ERROR_ARGUMENT;
  start(*encoder);
  return QUEL_OK;
}

int quel_encoder_flavor(const quel_encoder* encoder) {
  return encoder == nullptr ? QUEL_ERROR_ARGUMENT : encoder->flavor;
}

int quel_encoder_effort(const quel_encoder* encoder) {
  return encoder == nullptr ? QUEL_ERROR_ARGUMENT : encoder->effort;
}

int quel_encoder_voice_active(const quel_encoder* encoder) {
  return encoder == nullptr ? QUEL_ERROR_ARGUMENT : encoder->silence.active;
}

int quel_encoder_unit_needed(const quel_encoder* encoder) {
  return encoder == nullptr ? QUEL_ERROR_ARGUMENT : encoder->silence.needed;
}

int quel_decoder_size(const quel_decoder_options* options) {
  quel_decoder_options known = QUEL_DECODER_OPTIONS(0);
  const int result = take(options, known);
  if (result != QUEL_OK) return result;
  return as_decoder(known.flavor, [](auto* type) { return static_cast<int>(sizeof *type); });
}

int quel_decoder_init(void* memory, size_t bytes, const quel_decoder_options* options,
                      quel_decoder** decoder) {
  if (memory == nullptr || decoder == nullptr) return QUEL_ERROR_ARGUMENT;
  quel_decoder_options known = QUEL_DECODER_OPTIONS(0);
  int result = take(options, known);
  if (result == QUEL_OK) result = check_memory(memory, bytes, quel_decoder_size(options));
  if (result != QUEL_OK) return result;
  *decoder = as_decoder(known.flavor, [&](auto* type) {
    return &std::construct_at(static_cast<decltype(type)>(memory))->head;
  });
  (*decoder)->flavor = known.flavor;
  (*decoder)->concealment = known.concealment;
  (*decoder)->enhance = known.enhance;
  start(**decoder);
  return QUEL_OK;
}

int quel_decoder_reset(quel_decoder* decoder) {
  if (decoder == nullptr) return QUEL_ERROR_ARGUMENT;
  start(*decoder);
  return QUEL_OK;
}

int quel_decoder_flavor(const quel_decoder* decoder) {
  return decoder == nullptr ? QUEL_ERROR_ARGUMENT : decoder->flavor;
}
