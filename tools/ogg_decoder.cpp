#include "tools/ogg_decoder.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace quel::tools {
namespace {

/// Lost frames that deferred concealment makes up, at most.
constexpr std::uint64_t most_made_up = 5;
constexpr std::size_t silence_samples = 4096;

Concealment stream_concealment(OggConcealment concealment) {
  return concealment == OggConcealment::deferred ? Concealment::deferred : Concealment::immediate;
}

// The frames that nothing has to be made up for.
std::uint32_t not_lost(std::uint32_t received) {
  return received == QUEL_NOT_SENT ? QUEL_ALL_RECEIVED : received;
}

}  // namespace

int ogg_preroll(int flavor) {
  return 3 * check(quel_sampling_rate(flavor));
}

OggDecoder::OggDecoder(OggReader& reader, OggDecodeOptions options)
    : reader_(reader),
      options_(std::move(options)),
      decoder_(decoder_options(reader.head().flavor, stream_concealment(options_.concealment),
                               options_.enhance)),
      flavor_(reader.head().flavor),
      frames_per_unit_(check(quel_frames_per_unit(flavor_))),
      frame_samples_(static_cast<std::size_t>(check(quel_samples_per_frame(flavor_)))),
      unit_samples_(static_cast<std::size_t>(check(quel_samples_per_unit(flavor_)))),
      unit_bytes_(static_cast<std::size_t>(check(quel_bytes_per_unit(flavor_)))),
      wanted_from_(reader.head().pre_skip),
      pcm_(decoder_.max_samples()),
      zeros_(silence_samples) {}

std::span<const std::int16_t> OggDecoder::next() {
  do {
    Pcm chunk = ahead_;
    if (!ahead_.empty()) {
      ahead_ = {};
    } else if (silence_ > 0) {
      chunk = take_silence();
    } else {
      chunk = std::exchange(behind_, {});
    }
    const std::uint64_t start = position_;
    position_ += chunk.size();
    const std::uint64_t end = reader_.end().value_or(std::numeric_limits<std::uint64_t>::max());
    const std::uint64_t from = std::clamp(wanted_from_, start, position_);
    const std::uint64_t to = std::clamp(end, from, position_);
    if (to > from) {
      samples_ += to - from;
      return chunk.subspan(static_cast<std::size_t>(from - start),
                           static_cast<std::size_t>(to - from));
    }
  } while (!ahead_.empty() || silence_ > 0 || !behind_.empty() || advance());
  return {};
}

OggDecoder::Pcm OggDecoder::take_silence() {
  const std::size_t count =
      static_cast<std::size_t>(std::min<std::uint64_t>(silence_, silence_samples));
  silence_ -= count;
  return Pcm(zeros_).first(count);
}

// Goes on by one unit, or over a whole loss where that gives nothing yet. False at the end.
bool OggDecoder::advance() {
  if (event_.units == 0) event_ = reader_.next();
  if (event_.kind == OggEvent::Kind::end) {
    // What deferred concealment still waits for never came.
    const std::uint64_t clock = units_ * unit_samples_;
    silence_ = clock - std::min(clock, position_);
    return silence_ > 0;
  }
  if (event_.kind == OggEvent::Kind::lost) {
    const bool waits = options_.concealment == OggConcealment::deferred;
    const std::uint64_t units = waits ? event_.units : 1;
    const std::uint64_t frames = units * static_cast<std::uint64_t>(frames_per_unit_);
    event_.units -= units;
    units_ += units;
    frames_ += frames;
    lost_ += frames;
    missing_ += frames;
    if (waits) {
      // The stream itself counts no further than it will make up for.
      const std::uint64_t told = std::min<std::uint64_t>(units, most_made_up);
      for (std::uint64_t i = 0; i < told; ++i) decoder_.decode({}, 0, pcm_);
      return true;
    }
    ahead_ = Pcm(pcm_).first(decoder_.decode({}, 0, pcm_));
    if (options_.concealment == OggConcealment::none) mute_lost(0);
    return true;
  }
  --event_.units;
  ++units_;
  if (event_.kind == OggEvent::Kind::unsent) {
    frames_ += static_cast<std::uint64_t>(frames_per_unit_);
    decode_told({}, QUEL_NOT_SENT);
    return true;
  }
  decode(event_.bytes.first(unit_bytes_));
  event_.bytes = event_.bytes.subspan(unit_bytes_);
  return true;
}

void OggDecoder::decode(std::span<const std::uint8_t> unit) {
  std::uint32_t received = 0;
  for (int frame = 0; frame < frames_per_unit_; ++frame) {
    const bool lost = options_.lose && options_.lose();
    ++frames_;
    lost_ += lost ? 1 : 0;
    received |= (lost ? 0u : 1u) << frame;
  }
  decode_told(unit, received);
}

// received  as Decoder::decode takes it
void OggDecoder::decode_told(std::span<const std::uint8_t> unit, std::uint32_t received) {
  if (options_.concealment == OggConcealment::deferred) {
    decode_deferred(unit, received);
    return;
  }
  ahead_ = Pcm(pcm_).first(decoder_.decode(unit, received, pcm_));
  if (options_.concealment == OggConcealment::none) mute_lost(not_lost(received));
}

// The stream gives its made-up frames and then the received one. Silence goes between them: flavor
// 2, a frame behind its input, still has a received frame to give ahead of the made-up ones.
void OggDecoder::decode_deferred(std::span<const std::uint8_t> unit, std::uint32_t received) {
  std::uint64_t excess = 0;
  for (int frame = 0; frame < frames_per_unit_; ++frame) {
    if ((not_lost(received) >> frame & 1u) == 0) {
      ++missing_;
      continue;
    }
    if (missing_ > most_made_up) excess = missing_ - most_made_up;
    missing_ = 0;
  }
  ahead_ = Pcm(pcm_).first(decoder_.decode(unit, received, pcm_));
  if (excess == 0) return;
  const std::size_t made_up = static_cast<std::size_t>(most_made_up) * frame_samples_;
  behind_ = ahead_.subspan(made_up);
  ahead_ = ahead_.first(made_up);
  silence_ = excess * frame_samples_;
}

void OggDecoder::mute_lost(std::uint32_t received) {
  for (int frame = 0; frame < frames_per_unit_; ++frame) {
    const bool lost = (received >> frame & 1u) == 0;
    const bool heard_lost = flavor_ == QUEL_FLAVOR_5K ? frame_before_lost_ : lost;
    frame_before_lost_ = lost;
    if (!heard_lost) continue;
    const Pcm slot = ahead_.subspan(static_cast<std::size_t>(frame) * frame_samples_);
    std::fill_n(slot.begin(), frame_samples_, std::int16_t{0});
  }
}

void OggDecoder::seek(std::uint64_t sample) {
  const std::uint64_t wanted = sample + reader_.head().pre_skip;
  wanted_from_ = wanted < sample ? std::numeric_limits<std::uint64_t>::max() : wanted;
  const auto preroll = static_cast<std::uint64_t>(ogg_preroll(flavor_));
  units_ = reader_.seek(wanted_from_ - std::min(wanted_from_, preroll));
  position_ = units_ * unit_samples_;
  decoder_.reset();
  event_ = {};
  ahead_ = behind_ = {};
  silence_ = missing_ = 0;
  frame_before_lost_ = false;
}

}  // namespace quel::tools
