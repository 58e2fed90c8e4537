// What streams do: units coded and decoded, one or any number a call, 16-bit or float samples.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "dsp/scratch.h"
#include "interface/frame_driver.h"
#include "interface/stream_state.h"
#include "quelcodec/quelcodec.h"

namespace quel {
namespace {

constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

std::uint64_t samples_per_unit(const Mode& mode) {
  return static_cast<std::uint64_t>(mode.framesPerCycle) *
         static_cast<std::uint64_t>(mode.len_frame);
}

std::size_t bytes_per_unit(const Mode& mode) {
  return static_cast<std::size_t>(mode.outputBytes);
}

template <typename Sample>
std::int64_t encode(quel_encoder* encoder, const Sample* pcm, std::size_t samples,
                    std::uint8_t* units, std::size_t capacity) {
  const std::int64_t bytes = quel_encode_units_bytes(encoder, samples);
  if (bytes < 0) return bytes;
  if (bytes > 0 && (pcm == nullptr || units == nullptr)) return QUEL_ERROR_ARGUMENT;
  if (capacity < static_cast<std::uint64_t>(bytes)) return QUEL_ERROR_CAPACITY;
  const ScratchSwitch scratch(encoder->scratch);
  const EncoderParts parts = parts_of(*encoder);
  SampleSource in(pcm);
  for (std::int64_t done = 0; done < bytes; done += encoder->mode.outputBytes) {
    encode_unit(parts, encoder->mode, in, units + done,
                static_cast<std::uint32_t>(encoder->flavor));
  }
  return bytes;
}

// What became of the frames of a call.
class Arrivals {
 public:
  // Bit n of a single unit's mask.
  explicit Arrivals(std::uint32_t mask) : mask_(mask) {}
  // A byte for each frame, or null for all.
  explicit Arrivals(const std::uint8_t* flags) : mask_(QUEL_ALL_RECEIVED), flags_(flags) {}
  Erasure operator[](std::uint64_t frame) const {
    const std::uint32_t told = flags_ != nullptr ? flags_[frame] : mask_;
    if (told == QUEL_NOT_SENT) return Erasure::not_sent;
    const bool arrived = flags_ != nullptr ? told != 0 : ((told >> (frame % 32)) & 1u) != 0;
    return arrived ? Erasure::received : Erasure::lost;
  }

 private:
  std::uint32_t mask_;
  const std::uint8_t* flags_ = nullptr;
};

// Samples that decoding these frames would give, or some number above `capacity` where they are
// more than that.
std::uint64_t samples_due(const quel_decoder& stream, std::uint64_t frames, const Arrivals& arrived,
                          std::size_t capacity) {
  const auto length = static_cast<std::uint64_t>(stream.mode.len_frame);
  const std::uint64_t room = capacity / length;
  std::uint64_t due = 0;
  if (stream.concealment == QUEL_CONCEAL_IMMEDIATE) {
    due = frames;
  } else {
    int missing = stream.driver.numPacketsMissing;
    // No further than there is room: a length by mistake has more frames than can be counted.
    for (std::uint64_t frame = 0; frame < frames && due <= room; ++frame) {
      if (arrived[frame] != Erasure::lost) {
        due += static_cast<std::uint64_t>(missing) + 1;
        missing = 0;
      } else {
        missing = std::min(missing + 1, static_cast<int>(max_packets_missing));
      }
    }
  }
  return due > most / length ? most + 1 : due * length;
}

bool any_arrived(std::uint64_t frames, const Arrivals& arrived) {
  for (std::uint64_t frame = 0; frame < frames; ++frame) {
    if (arrived[frame] == Erasure::received) return true;
  }
  return false;
}

// data  null where no frame arrived
template <typename Sample>
std::int64_t decode(quel_decoder& decoder, const std::uint8_t* data, std::uint64_t units,
                    const Arrivals& arrived, Sample* pcm, std::size_t capacity) {
  const Mode& mode = decoder.mode;
  const std::uint64_t frames_per_unit = static_cast<std::uint64_t>(mode.framesPerCycle);
  const std::uint64_t due = samples_due(decoder, units * frames_per_unit, arrived, capacity);
  if (due > 0 && pcm == nullptr) return QUEL_ERROR_ARGUMENT;
  if (capacity < due) return QUEL_ERROR_CAPACITY;
  const ScratchSwitch scratch(decoder.scratch);
  const DecoderParts parts = parts_of(decoder);
  const auto take =
      decoder.concealment == QUEL_CONCEAL_DEFERRED ? take_frame_deferred : take_frame_at_once;
  const auto flavor = static_cast<std::uint32_t>(decoder.flavor);
  SampleSink out(pcm);
  for (std::uint64_t unit = 0; unit < units; ++unit) {
    for (std::uint64_t frame = 0; frame < frames_per_unit; ++frame) {
      const Erasure kind = arrived[unit * frames_per_unit + frame];
      if (kind == Erasure::not_sent) {
        take_frame_not_sent(parts, mode, flavor, out);
      } else {
        take(parts, mode, kind == Erasure::received ? data : nullptr,
             static_cast<std::int32_t>(frame) * mode.prmBits, flavor, out);
      }
    }
    if (data != nullptr) data += mode.outputBytes;
  }
  return out.count();
}

template <typename Sample>
std::int64_t decode_many(quel_decoder* decoder, const std::uint8_t* data, std::size_t bytes,
                         const std::uint8_t* received, Sample* pcm, std::size_t capacity) {
  if (decoder == nullptr) return QUEL_ERROR_ARGUMENT;
  const std::size_t size = bytes_per_unit(decoder->mode);
  if (bytes % size != 0) return QUEL_ERROR_LENGTH;
  const std::uint64_t units = bytes / size;
  const Arrivals arrived(received);
  if (data == nullptr &&
      any_arrived(units * static_cast<std::uint64_t>(decoder->mode.framesPerCycle), arrived)) {
    return QUEL_ERROR_ARGUMENT;
  }
  return decode(*decoder, data, units, arrived, pcm, capacity);
}

}  // namespace
}  // namespace quel

using namespace quel;

int quel_encode(quel_encoder* encoder, const int16_t* pcm, size_t samples, uint8_t* unit,
                size_t capacity) {
  if (encoder == nullptr || pcm == nullptr || unit == nullptr) return QUEL_ERROR_ARGUMENT;
  if (samples != samples_per_unit(encoder->mode)) return QUEL_ERROR_LENGTH;
  return static_cast<int>(encode(encoder, pcm, samples, unit, capacity));
}

int64_t quel_encode_units_bytes(const quel_encoder* encoder, size_t samples) {
  if (encoder == nullptr) return QUEL_ERROR_ARGUMENT;
  const std::uint64_t per_unit = samples_per_unit(encoder->mode);
  if (samples % per_unit != 0) return QUEL_ERROR_LENGTH;
  // A unit has fewer bytes than samples, and those of a call are in memory.
  return static_cast<std::int64_t>(samples / per_unit * bytes_per_unit(encoder->mode));
}

int64_t quel_encode_units(quel_encoder* encoder, const int16_t* pcm, size_t samples, uint8_t* units,
                          size_t capacity) {
  return encode(encoder, pcm, samples, units, capacity);
}

int64_t quel_encode_units_float(quel_encoder* encoder, const float* pcm, size_t samples,
                                uint8_t* units, size_t capacity) {
  return encode(encoder, pcm, samples, units, capacity);
}

int quel_decoder_max_samples(const quel_decoder* decoder) {
  if (decoder == nullptr) return QUEL_ERROR_ARGUMENT;
  return static_cast<int>(quel_decode_units_samples(decoder, bytes_per_unit(decoder->mode)));
}

int quel_decode(quel_decoder* decoder, const uint8_t* unit, size_t bytes, uint32_t received,
                int16_t* pcm, size_t capacity) {
  if (decoder == nullptr) return QUEL_ERROR_ARGUMENT;
  const Mode& mode = decoder->mode;
  const Arrivals arrived(received);
  if (unit == nullptr && any_arrived(static_cast<std::uint64_t>(mode.framesPerCycle), arrived)) {
    return QUEL_ERROR_ARGUMENT;
  }
  if (bytes != (unit == nullptr ? 0 : bytes_per_unit(mode))) return QUEL_ERROR_LENGTH;
  return static_cast<int>(decode(*decoder, unit, 1, arrived, pcm, capacity));
}

int64_t quel_decode_units_samples(const quel_decoder* decoder, size_t bytes) {
  if (decoder == nullptr) return QUEL_ERROR_ARGUMENT;
  const Mode& mode = decoder->mode;
  if (bytes % bytes_per_unit(mode) != 0) return QUEL_ERROR_LENGTH;
  const std::uint64_t units = bytes / bytes_per_unit(mode);
  const bool deferred = decoder->concealment == QUEL_CONCEAL_DEFERRED && units > 0;
  const auto carried_over =
      static_cast<std::uint64_t>(deferred ? max_packets_missing * mode.len_frame : 0);
  if (units > (most - carried_over) / samples_per_unit(mode)) return QUEL_ERROR_LENGTH;
  return static_cast<std::int64_t>(units * samples_per_unit(mode) + carried_over);
}

int64_t quel_decode_units(quel_decoder* decoder, const uint8_t* units, size_t bytes,
                          const uint8_t* received, int16_t* pcm, size_t capacity) {
  return decode_many(decoder, units, bytes, received, pcm, capacity);
}

int64_t quel_decode_units_float(quel_decoder* decoder, const uint8_t* units, size_t bytes,
                                const uint8_t* received, float* pcm, size_t capacity) {
  return decode_many(decoder, units, bytes, received, pcm, capacity);
}

int quel_decoder_statistics(const quel_decoder* decoder, quel_decoder_counts* counts) {
  if (decoder == nullptr || counts == nullptr) return QUEL_ERROR_ARGUMENT;
  constexpr std::size_t first_size = offsetof(quel_decoder_counts, not_sent);
  if (counts->size != first_size && counts->size < sizeof(quel_decoder_counts)) {
    return QUEL_ERROR_OPTIONS;
  }
  counts->decoded = decoder->driver.decoded;
  counts->concealed = decoder->driver.concealed;
  counts->cleared = decoder->driver.cleared;
  if (counts->size > first_size) counts->not_sent = decoder->driver.not_sent;
  return QUEL_OK;
}
