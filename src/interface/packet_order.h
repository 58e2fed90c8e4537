#pragma once

#include <array>
#include <cstdint>

namespace quel {

/// What a packet is to the stream that a receiver follows.
enum class Fit {
  first,      ///< of a stream: nothing is known before it
  next,       ///< later than every packet before
  earlier,    ///< came after a later one
  duplicate,  ///< was there already
  stray       ///< belongs to no stream that is known
};

/// Where a packet stands, counted on without wrapping.
struct Place {
  Fit fit;
  std::int64_t sequence;
  std::int64_t timestamp;
};

/// The order of a stream's packets, whatever numbers they bear.
///
/// A packet that does not continue the stream is put aside as a stray; if the next in its row
/// comes too, the sender has started again and the stream is that one from there on. So one forged
/// or damaged packet moves nothing. The limits are those of RFC 3550, appendix A.1.
struct PacketOrder {
  std::int64_t rate = 8000;       ///< timestamps per second
  bool any = false;               ///< there is a stream
  std::int64_t sequence = 0;      ///< of the latest packet
  std::int64_t timestamp = 0;     ///< of the latest packet's first sample
  std::uint64_t came = 0;         ///< when the latest packet came, microseconds
  std::int64_t first = 0;         ///< least sequence number of the stream
  std::uint64_t received = 0;     ///< packets of this stream, each counted once
  std::uint64_t lost_before = 0;  ///< of the streams before it
  /// Bit n: the packet n before the latest has come.
  std::array<std::uint64_t, 2> seen{};

  bool has_stray = false;
  std::uint16_t stray_sequence = 0;
  std::uint32_t stray_timestamp = 0;

  // Interarrival jitter as in RFC 3550, section 6.4.1 and appendix A.8.
  bool has_transit = false;
  std::uint64_t transit_came = 0;      ///< of the packet before, microseconds
  std::int64_t transit_timestamp = 0;  ///< of the packet before
  std::int64_t jitter16 = 0;           ///< 16 times the estimate, samples
};

/// Finds a packet's place, and takes note of it.
///
/// sequence   the lowest 16 bits count
/// timestamp  of the packet's first sample
/// came       microseconds, any epoch; need not rise
///
/// Fit::first is a new stream: what waits of the one before is to be thrown away.
Place place_packet(PacketOrder& state, std::uint32_t sequence, std::uint32_t timestamp,
                   std::uint64_t came);

/// Packets that should have come by now and have not.
std::uint64_t packets_lost(const PacketOrder& state);

/// The jitter estimate, samples.
std::uint64_t jitter_of(const PacketOrder& state);

}  // namespace quel
