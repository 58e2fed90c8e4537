#pragma once

#include <array>
#include <cstdint>

namespace quel {

/// How long packets are under way, as far as a receiver can know: the samples that the card had
/// taken when a packet came, less the packet's timestamp. A unit is in time while this is no more
/// than the same difference of the sample that is played: its offset. So the offset of the slowest
/// packet that is still to be heard says how far playing has to lie behind.
///
/// Measured on the card's clock, drift between the two clocks and the size of the blocks that the
/// card asks for are in it like any other delay.
struct Transit {
  static constexpr int bins = 256;  ///< of 5 ms
  std::int64_t bin = 1;             ///< samples of a bin
  bool any = false;                 ///< a packet has come
  std::int64_t base = 0;            ///< transit of the fastest recent packet, bins
  /// Weights of recent packets by bins above `base`; an older packet weighs less.
  std::array<std::uint32_t, bins> weight{};
  std::int64_t lowest = 0;         ///< of this window, bins
  std::int64_t lowest_before = 0;  ///< of the window before
  std::int64_t window_end = 0;     ///< card's clock
  int window_packets = 0;
};

/// Forgets every packet.
///
/// rate  samples per second
void init_transit(Transit& state, std::int64_t rate);

/// Takes note of a packet that has come.
///
/// clock     samples that the card has taken
/// transit   clock less the packet's timestamp
/// length    samples of the packet: older packets weigh less by the sound that has come since
/// in_order  no later packet was there before; a straggler does not move what counts as fast
/// expected  samples that packets may take longer than the fastest as long as too few have come to
///           tell
void add_transit(Transit& state, std::int64_t clock, std::int64_t transit, std::int64_t length,
                 bool in_order, std::int64_t expected);

/// Transit of the fastest recent packet, samples, to a bin.
std::int64_t fastest_transit(const Transit& state);

/// Samples above fastest_transit() that have to be waited for all but one of 100 packets.
std::int64_t spread_of_transit(const Transit& state);

}  // namespace quel
