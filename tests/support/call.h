#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "quelcodec/quelcodec.h"
#include "support/signals.h"

namespace quel::test {

/// What a made-up network does to packets. Chances are percents of packets.
struct Network {
  double lost = 0;       ///< percent that never come
  double run = 1;        ///< mean length of a run of lost ones, packets
  double delay_ms = 20;  ///< on the way at least
  double jitter_ms = 0;  ///< mean of what comes on top, exponentially distributed
  double reordered = 0;  ///< percent that others overtake: 1.5 packets longer on the way
  double doubled = 0;    ///< percent that come twice
  double stalls = 0;     ///< percent before which the network stands still
  double stall_ms = 0;   ///< for so long
  double drift_ppm = 0;  ///< by which the card's clock is faster than the sender's
  int units = 1;         ///< of a packet
  int block = 160;       ///< samples that the card asks for at a time
  std::uint64_t seed = 1;
};

struct Packet {
  std::uint32_t sequence = 0, timestamp = 0;
  std::int64_t came = 0;  ///< microseconds
  std::vector<std::uint8_t> units;
};

/// Coded speech of some seconds, over and over, as packets of a sender; and what a decoder makes of
/// all of it.
class Speech {
 public:
  explicit Speech(int flavor, int seconds = 20);
  int flavor() const { return flavor_; }
  int rate() const { return rate_; }
  int unit() const { return unit_; }
  std::size_t units() const { return coded_.size() / bytes_; }
  /// Units k and those behind, the first after the last.
  std::vector<std::uint8_t> coded(std::size_t k, int count) const;
  /// What a decoder gives for `count` units from the first on.
  std::vector<std::int16_t> decoded(std::size_t count) const;

 private:
  int flavor_, rate_, unit_;
  std::size_t bytes_;
  std::vector<std::uint8_t> coded_;
};

quel_receiver_counts counts_of(const quel_receiver* receiver);

/// A call over such a network, on a clock of its own.
class Call {
 public:
  Call(const Speech& speech, const Network& network, quel_receiver* receiver);

  /// Goes on for so long by the card's clock.
  ///
  /// each  after every block: its samples
  void run(double seconds,
           const std::function<void(const std::vector<std::int16_t>&)>& each = nullptr);
  /// One block, which the caller pulls instead.
  void run_to_block(const std::function<void()>& pull);
  /// The sender begins again, with other numbers.
  void restart_sender(std::uint32_t sequence, std::uint32_t timestamp);
  /// Another network from here on; seed and block stay those of before.
  void change(const Network& network);
  /// Of the packet that is sent next.
  std::uint32_t timestamp() const { return timestamp_; }
  /// Packets sent so far, lost ones included.
  std::uint64_t sent() const { return sent_; }
  /// Those that the network lost, and those that it doubled.
  std::uint64_t lost() const { return lost_; }
  std::uint64_t doubled() const { return doubled_; }

 private:
  void send();
  void deliver(std::int64_t until);
  bool is_lost();

  const Speech& speech_;
  Network network_;
  quel_receiver* receiver_;
  Random random_;
  double now_us_ = 0;        // of the card's next block
  double send_us_ = 0;       // of the sender's next packet
  double last_came_us_ = 0;  // no packet that is not overtaken comes earlier
  std::size_t unit_ = 0;     // the next to be sent
  std::uint32_t sequence_, timestamp_;
  bool losing_ = false;
  std::uint64_t sent_ = 0, lost_ = 0, doubled_ = 0;
  std::vector<Packet> under_way_;
};

}  // namespace quel::test
