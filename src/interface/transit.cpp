#include "interface/transit.h"

#include <algorithm>
#include <limits>

namespace quel {
namespace {

// Packets weigh a 1024th less after each 10 ms of sound, an eighth at once at most: what counts are
// the last ten seconds, and all but a hundredth of the weight is of the last 47.
constexpr int forget_shift = 10;
constexpr std::int64_t most_forgotten = 128;
constexpr std::uint32_t one_packet = 1u << 16;
// What is expected without knowledge weighs as much as some packets: for the first ten seconds it
// keeps the wait from falling below.
constexpr std::uint32_t expectation = 8 * one_packet;
// The fastest packet is sought in windows of five seconds with enough packets to find one.
constexpr std::int64_t window_seconds = 5;
constexpr int least_window_packets = 16;
constexpr std::uint64_t too_slow = 100;  // one packet of so many may come too late
constexpr std::int64_t none = std::numeric_limits<std::int64_t>::max();

std::int64_t floor_divide(std::int64_t value, std::int64_t by) {
  return value / by - (value % by < 0 ? 1 : 0);
}

// Moves the base, the weights staying with their transits; those beyond an end join its bin.
void move_base(Transit& state, std::int64_t base) {
  const std::int64_t up = base - state.base;
  state.base = base;
  if (up == 0) return;
  std::array<std::uint32_t, Transit::bins> moved{};
  for (int k = 0; k < Transit::bins; ++k) {
    const std::int64_t to = std::clamp<std::int64_t>(k - up, 0, Transit::bins - 1);
    moved[static_cast<std::size_t>(to)] += state.weight[static_cast<std::size_t>(k)];
  }
  state.weight = moved;
}

void begin(Transit& state, std::int64_t clock, std::int64_t at, std::int64_t expected) {
  state.any = true;
  state.base = state.lowest = at;
  state.lowest_before = none;
  state.weight.fill(0);
  const auto bin = static_cast<std::size_t>(
      std::clamp<std::int64_t>((expected - 1) / state.bin, 0, Transit::bins - 1));
  state.weight[bin] = expectation;
  state.window_end = clock + window_seconds * 200 * state.bin;
  state.window_packets = 0;
}

}  // namespace

void init_transit(Transit& state, std::int64_t rate) {
  state.any = false;
  state.bin = rate / 200;
  state.base = 0;
}

void add_transit(Transit& state, std::int64_t clock, std::int64_t transit, std::int64_t length,
                 bool in_order, std::int64_t expected) {
  const std::int64_t at = floor_divide(transit, state.bin);
  // Beyond all bins, as when a sender's clock stood still: what was fast will not come again. Nor
  // will it where packets suddenly are that much faster.
  const std::int64_t far = state.any ? at - state.base : 0;
  if (!state.any || (in_order && (far >= Transit::bins || far <= -Transit::bins))) {
    begin(state, clock, at, expected);
  }
  state.lowest = std::min(state.lowest, at);
  ++state.window_packets;
  if (clock >= state.window_end && state.window_packets >= least_window_packets) {
    state.lowest_before = state.lowest;
    state.lowest = at;
    state.window_end = clock + window_seconds * 200 * state.bin;
    state.window_packets = 0;
  }
  move_base(state, std::min(state.lowest, state.lowest_before));
  // Rounded up, or small weights would never be forgotten.
  const auto forgotten = static_cast<std::uint64_t>(
      std::clamp<std::int64_t>(length / (2 * state.bin), 1, most_forgotten));
  for (std::uint32_t& weight : state.weight) {
    const std::uint64_t part = weight * forgotten + (1u << forget_shift) - 1;
    weight -= static_cast<std::uint32_t>(part >> forget_shift);
  }
  const std::int64_t above = std::clamp<std::int64_t>(at - state.base, 0, Transit::bins - 1);
  state.weight[static_cast<std::size_t>(above)] += one_packet;
}

std::int64_t fastest_transit(const Transit& state) {
  return state.base * state.bin;
}

std::int64_t spread_of_transit(const Transit& state) {
  std::uint64_t all = 0;
  for (const std::uint32_t weight : state.weight) all += weight;
  std::uint64_t slower = 0;
  int k = Transit::bins;
  while (k > 1) {
    slower += state.weight[static_cast<std::size_t>(k - 1)];
    if (slower * too_slow > all) break;
    --k;
  }
  return k * state.bin;
}

}  // namespace quel
