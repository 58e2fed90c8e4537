#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <vector>

#include "tools/ogg_reader.h"

namespace quel::tools {

/// How lost frames are made up for.
enum class OggConcealment {
  immediate,  ///< a frame for each lost one
  deferred,   ///< up to five made-up frames once a frame is received again, silence beyond these
  none        ///< silence
};

struct OggDecodeOptions {
  OggConcealment concealment = OggConcealment::immediate;
  bool enhance = false;  ///< quel_decoder_options has it
  /// Asked for each received frame in turn: whether to treat it as lost. May be empty.
  std::function<bool()> lose;
};

/// Samples that are decoded and thrown away ahead of a place that was sought: 3 s. In recorded
/// speech the output was within 1 of what a decoder gives that starts at the beginning well before
/// that, at every place (docs/measured/seeking.md).
int ogg_preroll(int flavor);

/// Turns a stream into sound that lies where the source lay, to the sample, whatever was lost.
class OggDecoder {
 public:
  /// reader  outlives the decoder, at its stream's start; nobody else reads from it
  explicit OggDecoder(OggReader& reader, OggDecodeOptions options = {});

  /// The source's next samples, at the flavor's rate; empty only at the end. They live until the
  /// next call. Throws FileError.
  std::span<const std::int16_t> next();

  /// Goes to a sample of the source; past its end there is nothing. Throws FileError where the
  /// reader's source cannot seek.
  void seek(std::uint64_t sample);

  std::uint64_t frames() const { return frames_; }     ///< decoded so far, lost ones included
  std::uint64_t lost_frames() const { return lost_; }  ///< of these
  std::uint64_t samples() const { return samples_; }   ///< given so far

 private:
  using Pcm = std::span<std::int16_t>;

  bool advance();
  void decode(std::span<const std::uint8_t> unit);
  void decode_told(std::span<const std::uint8_t> unit, std::uint32_t received);
  void decode_deferred(std::span<const std::uint8_t> unit, std::uint32_t received);
  void mute_lost(std::uint32_t received);
  Pcm take_silence();

  OggReader& reader_;
  OggDecodeOptions options_;
  Decoder decoder_;
  int flavor_;
  int frames_per_unit_;
  std::size_t frame_samples_;
  std::size_t unit_samples_;
  std::size_t unit_bytes_;

  OggEvent event_;  // units: those not decoded yet
  // What goes out next, in this order.
  Pcm ahead_;
  std::uint64_t silence_ = 0;  // samples
  Pcm behind_;

  std::uint64_t position_ = 0;  // decoded samples that went out or were cut off
  std::uint64_t wanted_from_;   // decoded sample at which the output starts
  std::uint64_t units_ = 0;     // the stream's clock at event_
  std::uint64_t missing_ = 0;   // lost frames since the last received one
  bool frame_before_lost_ = false;
  std::uint64_t frames_ = 0;
  std::uint64_t lost_ = 0;
  std::uint64_t samples_ = 0;
  std::vector<std::int16_t> pcm_;
  std::vector<std::int16_t> zeros_;
};

}  // namespace quel::tools
