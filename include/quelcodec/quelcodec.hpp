/// @file
/// quelcodec for C++: the streams of quelcodec.h as classes. Header only, so that no exception
/// crosses the library's C boundary.
///
///     quel::Encoder encoder(QUEL_FLAVOR_8K5);
///     quel::Decoder decoder(QUEL_FLAVOR_8K5);
///     std::vector<std::int16_t> pcm(encoder.samples_per_unit());
///     std::vector<std::uint8_t> unit = encoder.encode(pcm);
///     std::vector<std::int16_t> heard = decoder.decode(unit);
///
/// Every call comes in two forms. Those named try_... throw nothing and return what the C function
/// returns: a count, or a negative code. The others throw where these would return a code, and some
/// allocate their results; they are there where the compiler has exceptions switched on.
#ifndef QUELCODEC_QUELCODEC_HPP_
#define QUELCODEC_QUELCODEC_HPP_

#include <quelcodec/quelcodec.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#ifdef __cpp_exceptions
#include <stdexcept>
#include <vector>
#endif

/// The C++ classes.
namespace quel {

/// The library's version, as QUEL_VERSION counts.
inline int version() noexcept {
  return quel_version();
}
/// What coded units mean; refuse units of another number.
inline int bitstream() noexcept {
  return quel_bitstream();
}
/// Which exact bits this library gives; units of any behaviour decode.
inline int behaviour() noexcept {
  return quel_behaviour();
}

/// How a decoder makes up for lost frames; quelcodec.h says what each does.
enum class Concealment : int {
  immediate = QUEL_CONCEAL_IMMEDIATE,
  deferred = QUEL_CONCEAL_DEFERRED
};

#ifdef __cpp_exceptions

/// What every failure throws; what() is quel_error_text(code()).
class Error : public std::runtime_error {
 public:
  /// code  a QUEL_ERROR_... value
  explicit Error(int code) : std::runtime_error(quel_error_text(code)), code_(code) {}
  /// A QUEL_ERROR_... value.
  int code() const noexcept { return code_; }

 private:
  int code_;
};

/// The results of C functions as they are, failures as exceptions.
inline int check(int result) {
  if (result < 0) throw Error(result);
  return result;
}
/// The same of sizes.
inline std::size_t check_size(std::int64_t result) {
  if (result < 0) throw Error(static_cast<int>(result));
  return static_cast<std::size_t>(result);
}

#endif

/// As quel_unit_unpack.
inline int try_unpack_unit(int flavor, std::span<const std::uint8_t> unit,
                           std::span<std::int32_t> indices) noexcept {
  return quel_unit_unpack(flavor, unit.data(), unit.size(), indices.data(), indices.size());
}
/// As quel_unit_pack.
inline int try_pack_unit(int flavor, std::span<const std::int32_t> indices,
                         std::span<std::uint8_t> unit) noexcept {
  return quel_unit_pack(flavor, indices.data(), indices.size(), unit.data(), unit.size());
}

#ifdef __cpp_exceptions

/// The indices of a unit's frames, one frame behind the other.
inline std::vector<std::int32_t> unpack_unit(int flavor, std::span<const std::uint8_t> unit) {
  std::vector<std::int32_t> indices(QUEL_MAX_FRAMES * QUEL_MAX_FIELDS);
  indices.resize(check_size(try_unpack_unit(flavor, unit, indices)));
  return indices;
}
/// The unit that these indices make up.
inline std::vector<std::uint8_t> pack_unit(int flavor, std::span<const std::int32_t> indices) {
  std::vector<std::uint8_t> unit(QUEL_MAX_BYTES);
  unit.resize(check_size(try_pack_unit(flavor, indices, unit)));
  return unit;
}

#endif

/// Options of an encoder, to be changed further or handed to Encoder.
///
/// effort  0..QUEL_MAX_EFFORT: how long to search for speech that sounds closer to its input
inline quel_encoder_options encoder_options(int flavor, int effort = 0) noexcept {
  quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor);
  options.effort = effort;
  return options;
}

/// An encoder stream. May move, not be copied; using one that was moved from fails with
/// QUEL_ERROR_ARGUMENT. One thread at a time.
class Encoder {
 public:
  /// No stream, as after a move.
  Encoder() noexcept = default;

  /// Makes `encoder` a new stream of a flavor; leaves it as it was where that fails.
  static int try_make(int flavor, Encoder& encoder) noexcept {
    return try_make(encoder_options(flavor), encoder);
  }
  /// The same with any options.
  static int try_make(const quel_encoder_options& options, Encoder& encoder) noexcept {
    quel_encoder* stream = nullptr;
    const int result = quel_encoder_create(&options, &stream);
    if (result == QUEL_OK) encoder.stream_.reset(stream);
    return result;
  }
  /// Bytes of memory that such a stream takes, as quel_encoder_size.
  static int memory_size(int flavor) noexcept { return memory_size(encoder_options(flavor)); }
  /// The same with any options.
  static int memory_size(const quel_encoder_options& options) noexcept {
    return quel_encoder_size(&options);
  }
  /// A stream in memory of the caller's, which has to outlive it, as quel_encoder_init.
  static int try_make(int flavor, std::span<std::byte> memory, Encoder& encoder) noexcept {
    return try_make(encoder_options(flavor), memory, encoder);
  }
  /// The same with any options.
  static int try_make(const quel_encoder_options& options, std::span<std::byte> memory,
                      Encoder& encoder) noexcept {
    quel_encoder* stream = nullptr;
    const int result = quel_encoder_init(memory.data(), memory.size(), &options, &stream);
    if (result == QUEL_OK) encoder.stream_.reset(stream);
    return result;
  }
  /// As quel_encode.
  int try_encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> unit) noexcept {
    return quel_encode(get(), pcm.data(), pcm.size(), unit.data(), unit.size());
  }
  /// As quel_encode_units.
  std::int64_t try_encode_units(std::span<const std::int16_t> pcm,
                                std::span<std::uint8_t> units) noexcept {
    return quel_encode_units(get(), pcm.data(), pcm.size(), units.data(), units.size());
  }
  /// As quel_encode_units_float.
  std::int64_t try_encode_units(std::span<const float> pcm,
                                std::span<std::uint8_t> units) noexcept {
    return quel_encode_units_float(get(), pcm.data(), pcm.size(), units.data(), units.size());
  }
  /// As quel_encoder_voice_active.
  int try_voice_active() const noexcept { return quel_encoder_voice_active(get()); }
  /// As quel_encoder_unit_needed.
  int try_unit_needed() const noexcept { return quel_encoder_unit_needed(get()); }
  /// Back to the state after construction.
  int try_reset() noexcept { return quel_encoder_reset(get()); }

  /// The C stream, which stays this object's own.
  quel_encoder* get() const noexcept { return stream_.get(); }

#ifdef __cpp_exceptions

  /// flavor  QUEL_FLAVOR_...
  ///
  /// Throws QUEL_ERROR_FLAVOR or QUEL_ERROR_MEMORY.
  explicit Encoder(int flavor) {
    check(try_make(flavor, *this));
  }
  /// The same with any options. Throws what quel_encoder_create returns.
  explicit Encoder(const quel_encoder_options& options) {
    check(try_make(options, *this));
  }
  /// A stream in memory of the caller's, which has to outlive it: memory_size(flavor) bytes,
  /// aligned as std::max_align_t.
  ///
  /// Throws what quel_encoder_init returns.
  Encoder(int flavor, std::span<std::byte> memory) {
    check(try_make(flavor, memory, *this));
  }
  /// The same with any options.
  Encoder(const quel_encoder_options& options, std::span<std::byte> memory) {
    check(try_make(options, memory, *this));
  }

  /// The flavor given at construction.
  int flavor() const {
    return check(quel_encoder_flavor(get()));
  }
  /// The effort given at construction.
  int effort() const {
    return check(quel_encoder_effort(get()));
  }
  /// Samples that encode() takes.
  std::size_t samples_per_unit() const {
    return check_size(quel_samples_per_unit(flavor()));
  }
  /// Bytes that encode() gives.
  std::size_t bytes_per_unit() const {
    return check_size(quel_bytes_per_unit(flavor()));
  }

  /// Codes exactly samples_per_unit() samples into `unit` and returns the bytes written.
  std::size_t encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> unit) {
    return check_size(try_encode(pcm, unit));
  }
  /// The same into memory of its own.
  std::vector<std::uint8_t> encode(std::span<const std::int16_t> pcm) {
    std::vector<std::uint8_t> unit(bytes_per_unit());
    unit.resize(encode(pcm, unit));
    return unit;
  }

  /// Bytes that encode_units() of so many samples gives.
  std::size_t units_bytes(std::size_t samples) const {
    return check_size(quel_encode_units_bytes(get(), samples));
  }
  /// Codes whole units, any number of them, into `units` and returns the bytes written.
  std::size_t encode_units(std::span<const std::int16_t> pcm, std::span<std::uint8_t> units) {
    return check_size(try_encode_units(pcm, units));
  }
  /// The same from samples of -1..1.
  std::size_t encode_units(std::span<const float> pcm, std::span<std::uint8_t> units) {
    return check_size(try_encode_units(pcm, units));
  }
  /// The same into memory of its own.
  std::vector<std::uint8_t> encode_units(std::span<const std::int16_t> pcm) {
    std::vector<std::uint8_t> units(units_bytes(pcm.size()));
    encode_units(pcm, units);
    return units;
  }
  /// The same from samples of -1..1 into memory of its own.
  std::vector<std::uint8_t> encode_units(std::span<const float> pcm) {
    std::vector<std::uint8_t> units(units_bytes(pcm.size()));
    encode_units(pcm, units);
    return units;
  }

  /// Whether there is speech in the unit that was coded last.
  bool voice_active() const {
    return check(try_voice_active()) != 0;
  }
  /// Whether that unit has to be sent; where not, the receiver is told QUEL_NOT_SENT.
  bool unit_needed() const {
    return check(try_unit_needed()) != 0;
  }

  /// Back to the state after construction.
  void reset() {
    check(try_reset());
  }

#endif

 private:
  struct Destroy {
    void operator()(quel_encoder* stream) const noexcept { quel_encoder_destroy(stream); }
  };
  std::unique_ptr<quel_encoder, Destroy> stream_;
};

/// Options of a decoder, to be changed further or handed to Decoder.
///
/// enhance  whether a postfilter makes voiced speech of flavors 2 and 3 sound cleaner
inline quel_decoder_options decoder_options(int flavor,
                                            Concealment concealment = Concealment::immediate,
                                            bool enhance = false) noexcept {
  quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor);
  options.concealment = static_cast<int>(concealment);
  options.enhance = enhance ? 1 : 0;
  return options;
}

/// A decoder stream; moves and threads as Encoder.
class Decoder {
 public:
  /// No stream, as after a move.
  Decoder() noexcept = default;

  /// Makes `decoder` a new stream of a flavor; leaves it as it was where that fails.
  static int try_make(int flavor, Concealment concealment, Decoder& decoder) noexcept {
    return try_make(decoder_options(flavor, concealment), decoder);
  }
  /// The same with any options.
  static int try_make(const quel_decoder_options& options, Decoder& decoder) noexcept {
    quel_decoder* stream = nullptr;
    const int result = quel_decoder_create(&options, &stream);
    if (result == QUEL_OK) decoder.stream_.reset(stream);
    return result;
  }
  /// Bytes of memory that such a stream takes, as quel_decoder_size.
  static int memory_size(int flavor) noexcept { return memory_size(decoder_options(flavor)); }
  /// The same with any options.
  static int memory_size(const quel_decoder_options& options) noexcept {
    return quel_decoder_size(&options);
  }
  /// A stream in memory of the caller's, which has to outlive it, as quel_decoder_init.
  static int try_make(int flavor, Concealment concealment, std::span<std::byte> memory,
                      Decoder& decoder) noexcept {
    return try_make(decoder_options(flavor, concealment), memory, decoder);
  }
  /// The same with any options.
  static int try_make(const quel_decoder_options& options, std::span<std::byte> memory,
                      Decoder& decoder) noexcept {
    quel_decoder* stream = nullptr;
    const int result = quel_decoder_init(memory.data(), memory.size(), &options, &stream);
    if (result == QUEL_OK) decoder.stream_.reset(stream);
    return result;
  }
  /// As quel_decode; an empty unit counts as null.
  int try_decode(std::span<const std::uint8_t> unit, std::uint32_t received,
                 std::span<std::int16_t> pcm) noexcept {
    // An empty span may point anywhere, an emptied vector's for one.
    const std::uint8_t* const bytes = unit.empty() ? nullptr : unit.data();
    return quel_decode(get(), bytes, unit.size(), received, pcm.data(), pcm.size());
  }
  /// As quel_decode_units.
  ///
  /// received  a byte for each frame, zero where it was lost, QUEL_NOT_SENT where it was not sent;
  ///           empty where all arrived. Flags for
  ///           another number of frames are QUEL_ERROR_LENGTH
  std::int64_t try_decode_units(std::span<const std::uint8_t> units,
                                std::span<const std::uint8_t> received,
                                std::span<std::int16_t> pcm) noexcept {
    const int result = check_flags(units.size(), received.size());
    if (result != QUEL_OK) return result;
    return quel_decode_units(get(), units.data(), units.size(), flags(received), pcm.data(),
                             pcm.size());
  }
  /// As quel_decode_units_float, with flags as above.
  std::int64_t try_decode_units(std::span<const std::uint8_t> units,
                                std::span<const std::uint8_t> received,
                                std::span<float> pcm) noexcept {
    const int result = check_flags(units.size(), received.size());
    if (result != QUEL_OK) return result;
    return quel_decode_units_float(get(), units.data(), units.size(), flags(received), pcm.data(),
                                   pcm.size());
  }
  /// As quel_frame_describe; no indices: the frame is lost.
  int try_describe(std::span<const std::int32_t> indices, quel_frame& frame) noexcept {
    frame = QUEL_FRAME;
    return quel_frame_describe(get(), indices.empty() ? nullptr : indices.data(), indices.size(),
                               &frame);
  }
  /// As quel_decoder_statistics.
  int try_counts(quel_decoder_counts& counts) const noexcept {
    counts = QUEL_DECODER_COUNTS;
    return quel_decoder_statistics(get(), &counts);
  }
  /// Back to the state after construction.
  int try_reset() noexcept { return quel_decoder_reset(get()); }

  /// The C stream, which stays this object's own.
  quel_decoder* get() const noexcept { return stream_.get(); }

#ifdef __cpp_exceptions

  /// flavor  QUEL_FLAVOR_...
  ///
  /// Throws QUEL_ERROR_FLAVOR, QUEL_ERROR_OPTIONS or QUEL_ERROR_MEMORY.
  explicit Decoder(int flavor, Concealment concealment = Concealment::immediate) {
    check(try_make(flavor, concealment, *this));
  }
  /// The same with any options. Throws what quel_decoder_create returns.
  explicit Decoder(const quel_decoder_options& options) {
    check(try_make(options, *this));
  }
  /// A stream in memory of the caller's, as an Encoder's.
  Decoder(int flavor, Concealment concealment, std::span<std::byte> memory) {
    check(try_make(flavor, concealment, memory, *this));
  }
  /// The same with any options.
  Decoder(const quel_decoder_options& options, std::span<std::byte> memory) {
    check(try_make(options, memory, *this));
  }

  /// The flavor given at construction.
  int flavor() const {
    return check(quel_decoder_flavor(get()));
  }
  /// The most samples that one decode() gives.
  std::size_t max_samples() const {
    return check_size(quel_decoder_max_samples(get()));
  }

  /// Decodes one unit into `pcm` and returns the samples written.
  ///
  /// unit      exactly bytes_per_unit bytes, or empty where no frame arrived
  /// received  bit n set: frame n of the unit arrived; or QUEL_NOT_SENT
  /// pcm       room for max_samples() is always enough
  std::size_t decode(std::span<const std::uint8_t> unit, std::uint32_t received,
                     std::span<std::int16_t> pcm) {
    return check_size(try_decode(unit, received, pcm));
  }
  /// The same into memory of its own.
  std::vector<std::int16_t> decode(std::span<const std::uint8_t> unit,
                                   std::uint32_t received = QUEL_ALL_RECEIVED) {
    std::vector<std::int16_t> pcm(max_samples());
    pcm.resize(decode(unit, received, pcm));
    return pcm;
  }
  /// What the decoder gives for a unit of which nothing arrived.
  std::vector<std::int16_t> conceal() {
    return decode({}, 0);
  }
  /// What it gives for a unit that was not sent: noise like the background.
  std::vector<std::int16_t> comfort() {
    return decode({}, QUEL_NOT_SENT);
  }

  /// The most samples that decode_units() of so many bytes gives.
  std::size_t units_samples(std::size_t bytes) const {
    return check_size(quel_decode_units_samples(get(), bytes));
  }
  /// Decodes whole units, any number of them, into `pcm` and returns the samples written.
  ///
  /// received  a byte for each frame, zero where it was lost, QUEL_NOT_SENT where it was not sent;
  ///           empty where all arrived
  /// pcm       room for units_samples(units.size()) is always enough
  std::size_t decode_units(std::span<const std::uint8_t> units,
                           std::span<const std::uint8_t> received, std::span<std::int16_t> pcm) {
    return check_size(try_decode_units(units, received, pcm));
  }
  /// The same to samples of -1..1.
  std::size_t decode_units(std::span<const std::uint8_t> units,
                           std::span<const std::uint8_t> received, std::span<float> pcm) {
    return check_size(try_decode_units(units, received, pcm));
  }
  /// The same into memory of its own.
  std::vector<std::int16_t> decode_units(std::span<const std::uint8_t> units,
                                         std::span<const std::uint8_t> received = {}) {
    std::vector<std::int16_t> pcm(units_samples(units.size()));
    pcm.resize(decode_units(units, received, std::span(pcm)));
    return pcm;
  }
  /// The same to samples of -1..1 in memory of its own.
  std::vector<float> decode_units_float(std::span<const std::uint8_t> units,
                                        std::span<const std::uint8_t> received = {}) {
    std::vector<float> pcm(units_samples(units.size()));
    pcm.resize(decode_units(units, received, std::span(pcm)));
    return pcm;
  }

  /// What a frame's indices stand for. Moves the decoder on behind that frame, without its sound.
  ///
  /// indices  one frame's of unpack_unit(); empty: the frame is lost
  quel_frame describe(std::span<const std::int32_t> indices) {
    quel_frame frame;
    check(try_describe(indices, frame));
    return frame;
  }

  /// What became of the frames since construction or reset.
  quel_decoder_counts counts() const {
    quel_decoder_counts counts;
    check(try_counts(counts));
    return counts;
  }

  /// Back to the state after construction.
  void reset() {
    check(try_reset());
  }

#endif

 private:
  // The C function cannot know how many flags there are.
  int check_flags(std::size_t bytes, std::size_t given) const noexcept {
    const quel_flavor* info = quel_flavor_info(quel_decoder_flavor(get()));
    if (info == nullptr) return QUEL_ERROR_ARGUMENT;
    const std::size_t units = bytes / static_cast<std::size_t>(info->bytes_per_unit);
    const bool fits = given == units * static_cast<std::size_t>(info->frames_per_unit);
    return given == 0 || fits ? QUEL_OK : QUEL_ERROR_LENGTH;
  }
  static const std::uint8_t* flags(std::span<const std::uint8_t> received) noexcept {
    return received.empty() ? nullptr : received.data();
  }

  struct Destroy {
    void operator()(quel_decoder* stream) const noexcept { quel_decoder_destroy(stream); }
  };
  std::unique_ptr<quel_decoder, Destroy> stream_;
};

/// A receiver: packets of a network in, sound for a sound card out; moves and threads as Encoder.
class Receiver {
 public:
  /// No receiver, as after a move.
  Receiver() noexcept = default;

  /// Makes `receiver` a new one; leaves it as it was where that fails.
  ///
  /// options  QUEL_RECEIVER_OPTIONS(flavor), perhaps with other delays
  static int try_make(const quel_receiver_options& options, Receiver& receiver) noexcept {
    quel_receiver* made = nullptr;
    const int result = quel_receiver_create(&options, &made);
    if (result == QUEL_OK) receiver.receiver_.reset(made);
    return result;
  }
  /// Bytes of memory that such a receiver takes, as quel_receiver_size.
  static int memory_size(const quel_receiver_options& options) noexcept {
    return quel_receiver_size(&options);
  }
  /// The same in memory of the caller's, which has to outlive the receiver, as quel_receiver_init.
  static int try_make(const quel_receiver_options& options, std::span<std::byte> memory,
                      Receiver& receiver) noexcept {
    quel_receiver* made = nullptr;
    const int result = quel_receiver_init(memory.data(), memory.size(), &options, &made);
    if (result == QUEL_OK) receiver.receiver_.reset(made);
    return result;
  }
  /// As quel_receiver_push.
  int try_push(std::uint32_t sequence, std::uint32_t timestamp, std::uint64_t came,
               std::span<const std::uint8_t> units) noexcept {
    return quel_receiver_push(get(), sequence, timestamp, came, units.data(), units.size());
  }
  /// As quel_receiver_pull: fills all of `pcm`.
  int try_pull(std::span<std::int16_t> pcm) noexcept {
    return quel_receiver_pull(get(), pcm.data(), pcm.size());
  }
  /// As quel_receiver_pull_float.
  int try_pull(std::span<float> pcm) noexcept {
    return quel_receiver_pull_float(get(), pcm.data(), pcm.size());
  }
  /// As quel_receiver_statistics.
  int try_counts(quel_receiver_counts& counts) const noexcept {
    counts = QUEL_RECEIVER_COUNTS;
    return quel_receiver_statistics(get(), &counts);
  }
  /// Back to the state after construction.
  int try_reset() noexcept { return quel_receiver_reset(get()); }

  /// The C receiver, which stays this object's own.
  quel_receiver* get() const noexcept { return receiver_.get(); }

#ifdef __cpp_exceptions

  /// A receiver that lets sound wait as QUEL_RECEIVER_OPTIONS says.
  ///
  /// Throws QUEL_ERROR_FLAVOR or QUEL_ERROR_MEMORY.
  explicit Receiver(int flavor) : Receiver(quel_receiver_options QUEL_RECEIVER_OPTIONS(flavor)) {}
  /// Throws what quel_receiver_create returns.
  explicit Receiver(const quel_receiver_options& options) {
    check(try_make(options, *this));
  }
  /// A receiver in memory of the caller's, as an Encoder's: memory_size(options) bytes.
  Receiver(const quel_receiver_options& options, std::span<std::byte> memory) {
    check(try_make(options, memory, *this));
  }

  /// Hands over a packet that has come; see quel_receiver_push.
  void push(std::uint32_t sequence, std::uint32_t timestamp, std::uint64_t came,
            std::span<const std::uint8_t> units) {
    check(try_push(sequence, timestamp, came, units));
  }
  /// Fills all of `pcm` with the samples that are to be played next.
  void pull(std::span<std::int16_t> pcm) {
    check(try_pull(pcm));
  }
  /// The same with samples of -1..1.
  void pull(std::span<float> pcm) {
    check(try_pull(pcm));
  }
  /// What became of packets and sound since construction or reset.
  quel_receiver_counts counts() const {
    quel_receiver_counts counts;
    check(try_counts(counts));
    return counts;
  }
  /// Back to the state after construction.
  void reset() {
    check(try_reset());
  }

#endif

 private:
  struct Destroy {
    void operator()(quel_receiver* receiver) const noexcept { quel_receiver_destroy(receiver); }
  };
  std::unique_ptr<quel_receiver, Destroy> receiver_;
};

}  // namespace quel

#endif  // QUELCODEC_QUELCODEC_HPP_
