#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "interface/packet_order.h"
#include "interface/transit.h"
#include "interface/unit_queue.h"
#include "quelcodec/quelcodec.h"

namespace quel {

/// Why a unit is not there. The receiver knows only when a later packet comes: numbers that go on
/// without a gap over timestamps that do not are sound that was not sent.
enum class Gap { lost, not_sent };

/// Decoded sound: some that was played, which splices go back to, and what is to be played next.
struct SoundBuffer {
  static constexpr int history = 240;  ///< samples played that are kept: 15 ms at 16 kHz
  /// Beside these there is room for four units of the longest: what a splice looks ahead, what one
  /// puts in, and what fades out.
  std::array<std::int16_t, history + 4 * 480> pcm{};
  int head = history;  ///< the sample that is played next
  int tail = history;  ///< one past the last
};

}  // namespace quel

/// What a receiver has. The decoder, a copy of it and the queue follow in the same block of memory,
/// and nothing in the block is an address.
struct quel_receiver {
  int flavor;
  bool on_heap;
  int rate;                  ///< samples per second
  int unit;                  ///< samples of a unit
  int unit_bytes;            ///< bytes of a unit
  int decoder_bytes;         ///< of the decoder and of its copy, each
  int capacity;              ///< units of the queue
  std::int64_t least_delay;  ///< samples
  std::int64_t most_delay;   ///< samples

  /// All that follows, but the numbers of the head, a reset clears.
  struct State {
    std::int64_t clock = 0;  ///< samples pulled
    quel::PacketOrder order;
    quel::Transit transit;
    std::int64_t noted_clock = 0;    ///< clock when the latest packet came that was the first then
    std::int64_t noted = 0;          ///< its timestamp
    int waiting = 0;                 ///< units in the queue
    std::int64_t latest = 0;         ///< timestamp of the latest packet
    std::int64_t latest_length = 0;  ///< its samples

    bool playing = false;       ///< a packet has come
    std::int64_t lead = 0;      ///< samples of silence before what is decoded first
    std::int64_t next = 0;      ///< timestamp of the unit that is decoded next
    std::int64_t sequence = 0;  ///< packet of the unit that was decoded last
    /// Packet that followed the last sound that was not sent.
    std::int64_t after_unsent = std::numeric_limits<std::int64_t>::min();

    std::int64_t unsent_level = -1;  ///< energy of a sample before such; -1: there was none

    /// Units made up where the queue was empty, with `next` where it was and the decoder of before
    /// put aside: whether they were lost or are only late will be known when a packet comes.
    std::int64_t held = 0;
    quel::Gap held_as = quel::Gap::lost;
    std::int64_t held_level = 0;  ///< energy of a sample before them

    quel::SoundBuffer sound;
    int wish = 0;                  ///< 1: the wait is too short, -1: too long
    std::int64_t wish_since = 0;   ///< clock
    std::int64_t next_splice = 0;  ///< clock before which speech is left as it is
    std::int64_t level = 0;        ///< energy of a sample of recent loud sound

    std::uint64_t duplicated = 0, stray = 0, late = 0, received_before = 0, restarts = 0;
    std::uint64_t decoded = 0, dropped = 0, inserted = 0, removed = 0;
    std::int64_t concealed = 0, unsent = 0;  ///< one may turn out to have been the other
  } now;
};
