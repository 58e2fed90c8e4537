/// @file
/// quelcodec for C++: the streams of quelcodec.h as classes. Header only, so that no exception
/// crosses the library's C boundary.
///
///     quel::Encoder encoder(QUEL_FLAVOR_8K5);
///     quel::Decoder decoder(QUEL_FLAVOR_8K5);
///     std::vector<std::int16_t> pcm(encoder.samples_per_unit());
///     std::vector<std::uint8_t> unit = encoder.encode(pcm);
///     std::vector<std::int16_t> heard = decoder.decode(unit);
#ifndef QUELCODEC_QUELCODEC_HPP_
#define QUELCODEC_QUELCODEC_HPP_

#include <quelcodec/quelcodec.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

/// The C++ classes.
namespace quel {

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

/// The getters' results as they are, failures as exceptions.
inline int check(int result) {
  if (result < 0) throw Error(result);
  return result;
}

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

/// An encoder stream. May move, not be copied; using one that was moved from throws
/// QUEL_ERROR_ARGUMENT. One thread at a time.
class Encoder {
 public:
  /// flavor  QUEL_FLAVOR_...
  ///
  /// Throws QUEL_ERROR_FLAVOR or QUEL_ERROR_MEMORY.
  explicit Encoder(int flavor) {
    const quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor);
    quel_encoder* stream = nullptr;
    check(quel_encoder_create(&options, &stream));
    stream_.reset(stream);
  }

  /// The flavor given at construction.
  int flavor() const { return check(quel_encoder_flavor(stream_.get())); }
  /// Samples that encode() takes.
  std::size_t samples_per_unit() const {
    return static_cast<std::size_t>(check(quel_samples_per_unit(flavor())));
  }
  /// Bytes that encode() gives.
  std::size_t bytes_per_unit() const {
    return static_cast<std::size_t>(check(quel_bytes_per_unit(flavor())));
  }

  /// Codes exactly samples_per_unit() samples into `unit` and returns the bytes written.
  std::size_t encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> unit) {
    return static_cast<std::size_t>(
        check(quel_encode(stream_.get(), pcm.data(), pcm.size(), unit.data(), unit.size())));
  }
  /// The same into memory of its own.
  std::vector<std::uint8_t> encode(std::span<const std::int16_t> pcm) {
    std::vector<std::uint8_t> unit(bytes_per_unit());
    unit.resize(encode(pcm, unit));
    return unit;
  }

  /// Back to the state after construction.
  void reset() { check(quel_encoder_reset(stream_.get())); }

  /// The C stream, which stays this object's own.
  quel_encoder* get() const noexcept { return stream_.get(); }

 private:
  struct Destroy {
    void operator()(quel_encoder* stream) const noexcept { quel_encoder_destroy(stream); }
  };
  std::unique_ptr<quel_encoder, Destroy> stream_;
};

/// A decoder stream; moves and threads as Encoder.
class Decoder {
 public:
  /// flavor  QUEL_FLAVOR_...
  ///
  /// Throws QUEL_ERROR_FLAVOR, QUEL_ERROR_OPTIONS or QUEL_ERROR_MEMORY.
  explicit Decoder(int flavor, Concealment concealment = Concealment::immediate) {
    quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor);
    options.concealment = static_cast<int>(concealment);
    quel_decoder* stream = nullptr;
    check(quel_decoder_create(&options, &stream));
    stream_.reset(stream);
  }

  /// The flavor given at construction.
  int flavor() const { return check(quel_decoder_flavor(stream_.get())); }
  /// The most samples that one decode() gives.
  std::size_t max_samples() const {
    return static_cast<std::size_t>(check(quel_decoder_max_samples(stream_.get())));
  }

  /// Decodes one unit into `pcm` and returns the samples written.
  ///
  /// unit      exactly bytes_per_unit bytes, or empty where no frame arrived
  /// received  bit n set: frame n of the unit arrived
  /// pcm       room for max_samples() is always enough
  std::size_t decode(std::span<const std::uint8_t> unit, std::uint32_t received,
                     std::span<std::int16_t> pcm) {
    // An empty span may point anywhere, an emptied vector's for one.
    const std::uint8_t* const bytes = unit.empty() ? nullptr : unit.data();
    return static_cast<std::size_t>(
        check(quel_decode(stream_.get(), bytes, unit.size(), received, pcm.data(), pcm.size())));
  }
  /// The same into memory of its own.
  std::vector<std::int16_t> decode(std::span<const std::uint8_t> unit,
                                   std::uint32_t received = QUEL_ALL_RECEIVED) {
    std::vector<std::int16_t> pcm(max_samples());
    pcm.resize(decode(unit, received, pcm));
    return pcm;
  }
  /// What the decoder gives for a unit of which nothing arrived.
  std::vector<std::int16_t> conceal() { return decode({}, 0); }

  /// Back to the state after construction.
  void reset() { check(quel_decoder_reset(stream_.get())); }

  /// The C stream, which stays this object's own.
  quel_decoder* get() const noexcept { return stream_.get(); }

 private:
  struct Destroy {
    void operator()(quel_decoder* stream) const noexcept { quel_decoder_destroy(stream); }
  };
  std::unique_ptr<quel_decoder, Destroy> stream_;
};

}  // namespace quel

#endif  // QUELCODEC_QUELCODEC_HPP_
