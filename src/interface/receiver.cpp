// Receivers as C programs call them: packets in, samples out, counts.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

#include "bitstream/flavor.h"
#include "dsp/pcm.h"
#include "interface/playout.h"
#include "interface/receiver_state.h"
#include "interface/stream_options.h"
#include "interface/wait_control.h"
#include "quelcodec/quelcodec.h"

namespace quel {
namespace {

constexpr int greatest_delay = 1000;  // ms, within what Transit tells apart
// The longest packet, ms. The queue has room for it beyond the delay.
constexpr int longest_packet = 1000;

int take(const quel_receiver_options* options, quel_receiver_options& known) {
  if (options == nullptr) return QUEL_ERROR_ARGUMENT;
  if (!take_options(options, known)) return QUEL_ERROR_OPTIONS;
  if (find_flavor(known.flavor) == nullptr) return QUEL_ERROR_FLAVOR;
  const bool delays = 0 <= known.least_delay && known.least_delay <= known.most_delay &&
                      known.most_delay <= greatest_delay;
  return delays ? QUEL_OK : QUEL_ERROR_OPTIONS;
}

int aligned(std::size_t bytes) {
  constexpr std::size_t step = alignof(std::max_align_t);
  return static_cast<int>((bytes + step - 1) / step * step);
}

int decoder_bytes(int flavor) {
  const quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor);
  return aligned(static_cast<std::size_t>(quel_decoder_size(&options)));
}

int queue_capacity(const quel_receiver_options& options) {
  const Flavor& facts = flavors[static_cast<std::size_t>(options.flavor)];
  const int unit = facts.len_frame * facts.frames_per_unit;
  return (options.most_delay + longest_packet) * (facts.sampling_rate / 1000) / unit + 2;
}

// A reset: everything but what the options said.
void start(quel_receiver& receiver) {
  static_assert(std::is_trivially_copyable_v<quel_receiver>);
  static_assert(std::is_standard_layout_v<quel_receiver>);
  std::construct_at(&receiver.now);
  receiver.now.order.rate = receiver.rate;
  init_transit(receiver.now.transit, receiver.rate);
  quel_decoder_reset(decoder_of(receiver));
}

// Throws what waits away and follows the stream that begins with this packet.
void follow(quel_receiver& receiver, const Place& place) {
  quel_receiver::State& now = receiver.now;
  if (now.playing) {
    ++now.restarts;
    now.dropped += static_cast<std::uint64_t>(now.waiting);
    now.waiting = 0;
    now.held = 0;
    quel_decoder_reset(decoder_of(receiver));
    init_transit(now.transit, receiver.rate);
  }
  now.next = place.timestamp;
  now.sequence = place.sequence;
}

template <typename Sample, typename Convert>
int pull(quel_receiver* receiver, Sample* pcm, std::size_t samples, Convert convert) {
  if (receiver == nullptr || (pcm == nullptr && samples > 0)) return QUEL_ERROR_ARGUMENT;
  settle_held(*receiver);
  while (samples > 0) {
    const Piece piece = next_piece(*receiver, samples);
    if (piece.pcm == nullptr) {
      std::fill_n(pcm, piece.length, Sample{});
    } else {
      std::transform(piece.pcm, piece.pcm + piece.length, pcm, convert);
    }
    pcm += piece.length;
    samples -= piece.length;
  }
  return QUEL_OK;
}

std::size_t most_units(const quel_receiver& receiver) {
  return static_cast<std::size_t>(longest_packet * (receiver.rate / 1000) / receiver.unit);
}

std::uint64_t positive(std::int64_t value) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(value, 0));
}

}  // namespace
}  // namespace quel

using namespace quel;

int quel_receiver_size(const quel_receiver_options* options) {
  quel_receiver_options known = QUEL_RECEIVER_OPTIONS(0);
  const int result = take(options, known);
  if (result != QUEL_OK) return result;
  const auto queue = static_cast<std::size_t>(queue_capacity(known)) * sizeof(WaitingUnit);
  return aligned(sizeof(quel_receiver)) + 2 * decoder_bytes(known.flavor) + aligned(queue);
}

int quel_receiver_init(void* memory, size_t bytes, const quel_receiver_options* options,
                       quel_receiver** receiver) {
  if (memory == nullptr || receiver == nullptr) return QUEL_ERROR_ARGUMENT;
  quel_receiver_options known = QUEL_RECEIVER_OPTIONS(0);
  int result = take(options, known);
  if (result == QUEL_OK) result = check_memory(memory, bytes, quel_receiver_size(options));
  if (result != QUEL_OK) return result;
  const Flavor& facts = flavors[static_cast<std::size_t>(known.flavor)];
  quel_receiver& made = *std::construct_at(static_cast<quel_receiver*>(memory));
  made.flavor = known.flavor;
  made.rate = facts.sampling_rate;
  made.unit = facts.len_frame * facts.frames_per_unit;
  made.unit_bytes = facts.bytes_per_unit();
  made.decoder_bytes = decoder_bytes(known.flavor);
  made.capacity = queue_capacity(known);
  made.least_delay = std::int64_t{known.least_delay} * made.rate / 1000;
  made.most_delay = std::int64_t{known.most_delay} * made.rate / 1000;
  // The rest of the block: what a stream leaves unset shows as such to tools that look for it.
  std::memset(static_cast<unsigned char*>(memory) + sizeof made, 0,
              static_cast<std::size_t>(quel_receiver_size(options)) - sizeof made);
  const quel_decoder_options decoder_options = QUEL_DECODER_OPTIONS(known.flavor);
  quel_decoder* decoder = nullptr;
  quel_decoder_init(decoder_of(made), static_cast<std::size_t>(made.decoder_bytes),
                    &decoder_options, &decoder);
  start(made);
  *receiver = &made;
  return QUEL_OK;
}

int quel_receiver_reset(quel_receiver* receiver) {
  if (receiver == nullptr) return QUEL_ERROR_ARGUMENT;
  start(*receiver);
  return QUEL_OK;
}

int quel_receiver_push(quel_receiver* receiver, uint32_t sequence, uint32_t timestamp,
                       uint64_t came, const uint8_t* units, size_t bytes) {
  if (receiver == nullptr || units == nullptr) return QUEL_ERROR_ARGUMENT;
  const auto size = static_cast<std::size_t>(receiver->unit_bytes);
  const std::size_t count = bytes / size;
  if (count == 0 || bytes % size != 0 || count > most_units(*receiver)) return QUEL_ERROR_LENGTH;
  quel_receiver::State& now = receiver->now;
  const std::uint64_t received = now.order.received;
  const Place place = place_packet(now.order, sequence, timestamp, came);
  if (place.fit == Fit::stray) {
    ++now.stray;
    return QUEL_OK;
  }
  if (place.fit == Fit::duplicate) {
    ++now.duplicated;
    return QUEL_OK;
  }
  if (place.fit == Fit::first) {
    now.received_before += received;
    follow(*receiver, place);
  }
  if (place.fit != Fit::earlier) {
    now.latest = place.timestamp;
    now.latest_length = static_cast<std::int64_t>(count) * receiver->unit;
  }
  note_arrival(*receiver, place);

  UnitQueue queue = queue_of(*receiver);
  bool late = false;
  for (std::size_t k = 0; k < count; ++k) {
    const std::int64_t at = place.timestamp + static_cast<std::int64_t>(k) * receiver->unit;
    if (at < now.next) {
      late = true;
    } else {
      now.dropped += static_cast<std::uint64_t>(
          queue.add(at, place.sequence, units + k * size, receiver->unit_bytes));
    }
  }
  if (late) ++now.late;
  return QUEL_OK;
}

int quel_receiver_pull(quel_receiver* receiver, int16_t* pcm, size_t samples) {
  return pull(receiver, pcm, samples, [](std::int16_t sample) { return sample; });
}

int quel_receiver_pull_float(quel_receiver* receiver, float* pcm, size_t samples) {
  return pull(receiver, pcm, samples, pcm_to_unit);
}

int quel_receiver_statistics(const quel_receiver* receiver, quel_receiver_counts* counts) {
  if (receiver == nullptr || counts == nullptr) return QUEL_ERROR_ARGUMENT;
  if (counts->size < offsetof(quel_receiver_counts, jitter) + sizeof counts->jitter) {
    return QUEL_ERROR_OPTIONS;
  }
  const quel_receiver::State& now = receiver->now;
  counts->received = now.received_before + now.order.received;
  counts->duplicated = now.duplicated;
  counts->stray = now.stray;
  counts->late = now.late;
  counts->lost = packets_lost(now.order);
  counts->restarts = now.restarts;
  counts->decoded = now.decoded;
  counts->concealed = positive(now.concealed);
  counts->unsent = positive(now.unsent);
  counts->dropped = now.dropped;
  counts->inserted = now.inserted;
  counts->removed = now.removed;
  counts->delay = now.playing ? positive(offset_of(*receiver) - fastest_transit(now.transit)) : 0;
  counts->target = now.playing ? positive(wanted_wait(*receiver)) : 0;
  counts->jitter = jitter_of(now.order);
  return QUEL_OK;
}
