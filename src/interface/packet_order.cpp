#include "interface/packet_order.h"

#include <algorithm>

namespace quel {
namespace {

// A gap of more packets is a new stream, unless the packets go on as before: RFC 3550's
// MAX_DROPOUT.
constexpr std::int64_t most_dropped = 3000;
// A packet may come so many behind a later one; RFC 3550's MAX_MISORDER is 100.
constexpr std::int64_t most_behind = 127;
// Sound that a sender may leave out beyond the time that has gone by, or send ahead of it.
constexpr std::int64_t most_seconds = 10;

// Difference of two numbers that wrap at so many bits: the one nearer to zero.
template <int bits>
std::int64_t difference(std::int64_t later, std::int64_t earlier) {
  constexpr std::int64_t all = std::int64_t{1} << bits;
  const std::int64_t apart = (later - earlier) & (all - 1);
  return apart < all / 2 ? apart : apart - all;
}

// Samples between two arrivals, held within 2^40 microseconds (12 days) so that no product
// overflows.
std::int64_t samples_between(const PacketOrder& state, std::uint64_t later, std::uint64_t earlier) {
  constexpr std::int64_t limit = std::int64_t{1} << 40;
  const bool back = later < earlier;
  const std::uint64_t apart = back ? earlier - later : later - earlier;
  const auto bounded = static_cast<std::int64_t>(std::min<std::uint64_t>(apart, limit));
  return (back ? -bounded : bounded) * state.rate / 1000000;
}

bool seen(const PacketOrder& state, std::int64_t behind) {
  return ((state.seen[static_cast<std::size_t>(behind / 64)] >> (behind % 64)) & 1u) != 0;
}

void see(PacketOrder& state, std::int64_t behind) {
  state.seen[static_cast<std::size_t>(behind / 64)] |= std::uint64_t{1} << (behind % 64);
}

// By fewer than 64 places; the uppermost go.
std::uint64_t shifted_up(std::uint64_t bits, std::int64_t places) {
  return (bits & ~std::uint64_t{0} >> places) << places;
}

void move_on(PacketOrder& state, std::int64_t packets) {
  auto& [recent, old] = state.seen;
  if (packets >= 128) {
    recent = old = 0;
  } else if (packets >= 64) {
    old = shifted_up(recent, packets - 64);
    recent = 0;
  } else {
    old = shifted_up(old, packets) | recent >> (64 - packets);
    recent = shifted_up(recent, packets);
  }
  see(state, 0);
}

void note_jitter(PacketOrder& state, std::int64_t timestamp, std::uint64_t came) {
  if (state.has_transit) {
    const std::int64_t moved =
        samples_between(state, came, state.transit_came) - (timestamp - state.transit_timestamp);
    const std::int64_t limit = most_seconds * state.rate;  // a pause of the host is no jitter
    const std::int64_t apart = std::clamp(moved, -limit, limit);
    state.jitter16 += (apart < 0 ? -apart : apart) - ((state.jitter16 + 8) >> 4);
  }
  state.has_transit = true;
  state.transit_came = came;
  state.transit_timestamp = timestamp;
}

Place begin(PacketOrder& state, std::uint16_t sequence, std::uint32_t timestamp,
            std::uint64_t came) {
  state.lost_before = packets_lost(state);
  state.any = true;
  state.sequence = state.first = sequence;
  state.timestamp = timestamp;
  state.came = came;
  state.received = 1;
  state.seen = {1, 0};
  state.has_stray = false;
  state.has_transit = false;
  note_jitter(state, timestamp, came);
  return {Fit::first, state.sequence, state.timestamp};
}

Place stray(PacketOrder& state, std::uint16_t sequence, std::uint32_t timestamp,
            std::uint64_t came) {
  if (state.has_stray && difference<16>(sequence, state.stray_sequence) == 1) {
    const std::int64_t step = difference<32>(timestamp, state.stray_timestamp);
    if (step > 0 && step <= most_seconds * state.rate) {
      return begin(state, sequence, timestamp, came);
    }
  }
  state.has_stray = true;
  state.stray_sequence = sequence;
  state.stray_timestamp = timestamp;
  return {Fit::stray, 0, 0};
}

// Whether a packet so many places after the latest may have a timestamp that much later.
bool plausible(const PacketOrder& state, std::int64_t places, std::int64_t step,
               std::uint64_t came) {
  const std::int64_t limit = most_seconds * state.rate;
  if (places == 0) return step == 0;
  if (places < 0) return places >= -most_behind && step < 0 && step >= -limit;
  const std::int64_t passed = std::max<std::int64_t>(samples_between(state, came, state.came), 0);
  return places <= most_dropped && step > 0 && step <= passed + limit;
}

}  // namespace

Place place_packet(PacketOrder& state, std::uint32_t sequence, std::uint32_t timestamp,
                   std::uint64_t came) {
  const auto number = static_cast<std::uint16_t>(sequence & 0xffff);
  if (!state.any) return begin(state, number, timestamp, came);
  const std::int64_t places = difference<16>(number, state.sequence);
  const std::int64_t step = difference<32>(timestamp, state.timestamp);
  if (!plausible(state, places, step, came)) return stray(state, number, timestamp, came);

  const Place place{places > 0 ? Fit::next : Fit::earlier, state.sequence + places,
                    state.timestamp + step};
  if (places > 0) {
    move_on(state, places);
    state.sequence = place.sequence;
    state.timestamp = place.timestamp;
    state.came = came;
  } else {
    if (seen(state, -places)) return {Fit::duplicate, place.sequence, place.timestamp};
    see(state, -places);
    state.first = std::min(state.first, place.sequence);
  }
  ++state.received;
  note_jitter(state, place.timestamp, came);
  return place;
}

std::uint64_t packets_lost(const PacketOrder& state) {
  if (!state.any) return state.lost_before;
  const auto expected = static_cast<std::uint64_t>(state.sequence - state.first + 1);
  return state.lost_before + expected - state.received;
}

std::uint64_t jitter_of(const PacketOrder& state) {
  return static_cast<std::uint64_t>(state.jitter16 >> 4);
}

}  // namespace quel
