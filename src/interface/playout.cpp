// What a receiver plays: which unit next, and what for one that is not there.
#include "interface/playout.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "interface/wait_control.h"

namespace quel {
namespace {

using State = quel_receiver::State;

// What packets are expected to be spread over until enough have come.
constexpr std::int64_t first_spread_ms = 40;
// Sound that comes between two blocks that the card asks for, as long as that is the network's way.
constexpr std::int64_t most_at_once_ms = 500;
// Units before those that are played after a cut, to bring the decoder near to where the encoder
// was: most of what it forgets is forgotten in the first.
constexpr int preroll = 2;
// Units that are not there, and that nobody hears, of which the decoder is told at most: by then
// its sound has faded.
constexpr std::int64_t most_unheard = 8;

// What fades out, as much as a splice overlaps at any rate.
using Fading = std::array<std::int16_t, 80>;

// Room for a unit that nobody hears: where the next one will be decoded to.
std::int16_t* unheard(quel_receiver& receiver) {
  SoundBuffer& sound = receiver.now.sound;
  std::int16_t* const room = append(sound, receiver.unit);
  sound.tail -= receiver.unit;
  return room;
}

void decode(quel_receiver& receiver, const WaitingUnit& unit, std::int16_t* pcm) {
  quel_decode(decoder_of(receiver), unit.bytes.data(),
              static_cast<std::size_t>(receiver.unit_bytes), QUEL_ALL_RECEIVED, pcm,
              static_cast<std::size_t>(receiver.unit));
}

// Gives the decoder a unit that is not there.
void make_up(quel_receiver& receiver, Gap gap, std::int16_t* pcm) {
  quel_decode(decoder_of(receiver), nullptr, 0, gap == Gap::not_sent ? QUEL_NOT_SENT : 0u, pcm,
              static_cast<std::size_t>(receiver.unit));
}

void count_made_up(State& now, Gap gap, std::int64_t units) {
  (gap == Gap::lost ? now.concealed : now.unsent) += units;
}

// Why nothing stands between what was decoded last and the first unit that waits.
Gap gap_before(const State& now, const WaitingUnit& unit) {
  return unit.sequence - now.sequence <= 1 ? Gap::not_sent : Gap::lost;
}

// Energy of a sample of the last 10 ms that were decoded.
std::int64_t recent_level(const quel_receiver& receiver) {
  const SoundBuffer& sound = receiver.now.sound;
  const int n = std::min(receiver.rate / 100, sound.tail);
  return energy_of(sound.pcm.data() + sound.tail - n, n) / n;
}

// The same where nothing waits. A sender that has just left out sound, and sent a single packet
// since, most likely leaves out more; and so does one that has left out sound as quiet before.
Gap guess_gap(const quel_receiver& receiver) {
  const State& now = receiver.now;
  const bool as_quiet = now.unsent_level >= 0 && recent_level(receiver) <= 4 * now.unsent_level;
  return now.sequence == now.after_unsent || as_quiet ? Gap::not_sent : Gap::lost;
}

// Units missing before one that waits; a sender that does not keep to whole units shifts the rest.
std::int64_t units_before(const quel_receiver& receiver, const WaitingUnit& unit) {
  const std::int64_t gap = unit.timestamp - receiver.now.next;
  return gap <= 0 ? 0 : (gap + receiver.unit / 2) / receiver.unit;
}

// Throws away what lies before the place that was reached, as where packets overlap.
void drop_passed(quel_receiver& receiver) {
  UnitQueue queue = queue_of(receiver);
  int passed = 0;
  while (passed < queue.size() &&
         2 * (receiver.now.next - queue[passed].timestamp) > receiver.unit) {
    ++passed;
  }
  receiver.now.dropped += static_cast<std::uint64_t>(passed);
  if (passed > 0) queue.drop(passed);
}

void take_front(quel_receiver& receiver, std::int16_t* pcm) {
  State& now = receiver.now;
  UnitQueue queue = queue_of(receiver);
  decode(receiver, queue.front(), pcm);
  now.next = queue.front().timestamp + receiver.unit;
  now.sequence = queue.front().sequence;
  queue.drop(1);
}

// Nothing waits. Whether that is a loss or a delay will show; the decoder of before is put aside.
void hold(quel_receiver& receiver) {
  State& now = receiver.now;
  if (now.held == 0) {
    now.held_level = recent_level(receiver);
    now.held_as = guess_gap(receiver);
    std::memcpy(spare_of(receiver), decoder_of(receiver),
                static_cast<std::size_t>(receiver.decoder_bytes));
  }
  ++now.held;
  make_up(receiver, now.held_as, append(now.sound, receiver.unit));
  count_made_up(now, now.held_as, 1);
}

// Takes note that the sender left out sound before this unit, behind sound of this level.
void note_unsent(State& now, const WaitingUnit& unit, std::int64_t level) {
  if (now.after_unsent != unit.sequence) {
    now.unsent_level = std::max(level, now.unsent_level - now.unsent_level / 16);
  }
  now.after_unsent = unit.sequence;
}

// Puts the next unit's sound behind what there is, whatever it takes.
void next_unit(quel_receiver& receiver) {
  State& now = receiver.now;
  drop_passed(receiver);
  UnitQueue queue = queue_of(receiver);
  if (queue.empty()) return hold(receiver);
  if (units_before(receiver, queue.front()) == 0) {
    take_front(receiver, append(now.sound, receiver.unit));
    ++now.decoded;
    return;
  }
  const Gap gap = gap_before(now, queue.front());
  if (gap == Gap::not_sent) note_unsent(now, queue.front(), recent_level(receiver));
  make_up(receiver, gap, append(now.sound, receiver.unit));
  count_made_up(now, gap, 1);
  now.next += receiver.unit;
}

// More sound waits than the wait at its longest asks for, as where the card did not ask for a
// while: plays on from where the wait is what it should be. False where that is not so.
bool cut(quel_receiver& receiver) {
  State& now = receiver.now;
  const std::int64_t excess = sound_waiting(receiver) - most_waiting(receiver);
  if (excess <= 0 || now.held > 0) return false;
  // The sound that would have come next leads over.
  UnitQueue queue = queue_of(receiver);
  drop_passed(receiver);
  std::int16_t* const continued = unheard(receiver);
  if (queue.empty() || units_before(receiver, queue.front()) > 0) {
    make_up(receiver, Gap::lost, continued);
  } else {
    take_front(receiver, continued);
    ++now.dropped;
  }
  Fading before;
  std::copy_n(continued, overlap_of(receiver), before.begin());
  const std::int64_t place = now.clock + ahead_of(now.sound) - wanted_offset(receiver);
  const std::int64_t next = std::clamp(place, now.next, std::max(now.next, now.latest));
  int count = 0;
  while (count < queue.size() && 2 * (next - queue[count].timestamp) > receiver.unit) ++count;
  for (int k = std::max(count - preroll, 0); k < count; ++k) {
    decode(receiver, queue[k], unheard(receiver));
  }
  if (count > 0) now.sequence = queue[count - 1].sequence;
  queue.drop(count);
  now.dropped += static_cast<std::uint64_t>(count);
  now.next = next;
  next_unit(receiver);
  std::int16_t* const pcm = now.sound.pcm.data() + now.sound.tail - receiver.unit;
  cross_fade(before.data(), pcm, pcm, overlap_of(receiver));
  return true;
}

// Takes the decoder back to where units began to be made up, and tells it of those missing, which
// nobody hears any more.
void go_back(quel_receiver& receiver, std::int64_t missing, Gap gap) {
  std::memcpy(decoder_of(receiver), spare_of(receiver),
              static_cast<std::size_t>(receiver.decoder_bytes));
  for (std::int64_t k = 0; k < std::min(missing, most_unheard); ++k) {
    make_up(receiver, gap, unheard(receiver));
  }
}

// Goes on with the first unit that waits where more was made up than was missing: what was made up
// and not played yet fades into it.
void resume(quel_receiver& receiver, std::int64_t missing, Gap gap) {
  State& now = receiver.now;
  SoundBuffer& sound = now.sound;
  const int overlap = overlap_of(receiver);
  const std::int64_t played = now.held * receiver.unit - ahead_of(sound);
  const auto keep = static_cast<int>(
      std::clamp<std::int64_t>(missing * receiver.unit - played, 0, ahead_of(sound)));
  if (ahead_of(sound) - keep < overlap) {
    make_up(receiver, now.held_as, append(sound, receiver.unit));
  }
  Fading before;
  std::copy_n(sound.pcm.data() + sound.head + keep, overlap, before.begin());
  sound.tail = sound.head + keep;
  go_back(receiver, missing, gap);
  now.next += missing * receiver.unit;
  now.held = 0;
  std::int16_t* const pcm = append(sound, receiver.unit);
  take_front(receiver, pcm);
  ++now.decoded;
  lead_over(receiver, before.data(), receiver.unit);
}

}  // namespace

quel_decoder* decoder_of(quel_receiver& receiver) {
  constexpr std::size_t step = alignof(std::max_align_t);
  constexpr std::size_t head = (sizeof(quel_receiver) + step - 1) / step * step;
  return reinterpret_cast<quel_decoder*>(reinterpret_cast<unsigned char*>(&receiver) + head);
}

quel_decoder* spare_of(quel_receiver& receiver) {
  return reinterpret_cast<quel_decoder*>(reinterpret_cast<unsigned char*>(decoder_of(receiver)) +
                                         receiver.decoder_bytes);
}

UnitQueue queue_of(quel_receiver& receiver) {
  auto* const memory =
      reinterpret_cast<unsigned char*>(spare_of(receiver)) + receiver.decoder_bytes;
  return {reinterpret_cast<WaitingUnit*>(memory), receiver.capacity, receiver.now.waiting};
}

void note_arrival(quel_receiver& receiver, const Place& place) {
  State& now = receiver.now;
  const std::int64_t expected =
      std::clamp(first_spread_ms * receiver.rate / 1000, receiver.least_delay, receiver.most_delay);
  // Packets that pile up while the card asks for nothing, or that come all at once behind a
  // standing network, say nothing of the network's delays.
  if (place.fit == Fit::first || now.clock != now.noted_clock) {
    now.noted_clock = now.clock;
    now.noted = place.timestamp;
  }
  if (place.timestamp - now.noted <= most_at_once_ms * receiver.rate / 1000) {
    add_transit(now.transit, now.clock, now.clock - place.timestamp, now.latest_length,
                place.fit != Fit::earlier, expected);
  }
  if (place.fit == Fit::first) {
    now.playing = true;
    now.lead = 0;
    now.lead = std::max<std::int64_t>(wanted_offset(receiver) - offset_of(receiver), 0);
  } else if (place.timestamp < now.next && now.next - place.timestamp <= now.lead) {
    // Nothing of the stream was played yet, so that there is time for an earlier packet.
    now.lead -= now.next - place.timestamp;
    now.next = place.timestamp;
    now.sequence = place.sequence;
  }
}

void settle_held(quel_receiver& receiver) {
  State& now = receiver.now;
  const UnitQueue queue = queue_of(receiver);
  if (now.held == 0 || queue.empty()) return;
  const Gap gap = gap_before(now, queue.front());
  const std::int64_t missing = std::min(units_before(receiver, queue.front()), now.held);
  const bool otherwise = missing > 0 && gap != now.held_as;
  if (missing > 0 && gap == Gap::not_sent) note_unsent(now, queue.front(), now.held_level);
  if (otherwise) {
    count_made_up(now, now.held_as, -missing);
    count_made_up(now, gap, missing);
  }
  if (missing < now.held) return resume(receiver, missing, gap);
  if (otherwise) go_back(receiver, missing, gap);
  now.next += now.held * receiver.unit;
  now.held = 0;
}

Piece next_piece(quel_receiver& receiver, std::size_t most) {
  State& now = receiver.now;
  SoundBuffer& sound = now.sound;
  Piece piece{nullptr, most};
  if (now.playing && ahead_of(sound) == 0 && now.lead == 0) {
    if (!cut(receiver)) next_unit(receiver);
    adapt_wait(receiver);
  }
  if (ahead_of(sound) > 0) {
    piece.length = std::min(most, static_cast<std::size_t>(ahead_of(sound)));
    piece.pcm = sound.pcm.data() + sound.head;
    sound.head += static_cast<int>(piece.length);
  } else if (now.playing) {
    piece.length = static_cast<std::size_t>(
        std::min<std::uint64_t>(most, static_cast<std::uint64_t>(now.lead)));
    now.lead -= static_cast<std::int64_t>(piece.length);
  }
  now.clock += static_cast<std::int64_t>(piece.length);
  return piece;
}

bool decode_ahead(quel_receiver& receiver) {
  const UnitQueue queue = queue_of(receiver);
  if (queue.empty() || queue.front().timestamp != receiver.now.next) return false;
  next_unit(receiver);
  return true;
}

}  // namespace quel
