#pragma once

#include <array>
#include <cstdint>

#include "quelcodec/quelcodec.h"

namespace quel {

/// A unit that waits to be played.
struct WaitingUnit {
  std::int64_t timestamp;  ///< of its first sample
  std::int64_t sequence;   ///< of its packet
  std::array<std::uint8_t, QUEL_MAX_BYTES> bytes;
};

/// Units by rising timestamps, no two alike, in memory of the owner's. Made for a call, since its
/// owner keeps no addresses.
class UnitQueue {
 public:
  /// units  [0..capacity-1]
  /// count  units that are there; kept up to date
  UnitQueue(WaitingUnit* units, int capacity, int& count)
      : units_(units), capacity_(capacity), count_(count) {}

  bool empty() const { return count_ == 0; }
  int size() const { return count_; }
  const WaitingUnit& operator[](int k) const { return units_[k]; }
  const WaitingUnit& front() const { return units_[0]; }

  /// Puts a unit in its place. Where there is no room the earliest goes, be it this one.
  ///
  /// bytes  [0..length-1], length up to QUEL_MAX_BYTES
  ///
  /// Returns the units that went: 0 or 1; also 1 where its time is taken.
  int add(std::int64_t timestamp, std::int64_t sequence, const std::uint8_t* bytes, int length);
  /// Throws the first n away, n up to size().
  void drop(int n);

 private:
  WaitingUnit* units_;
  int capacity_;
  int& count_;
};

}  // namespace quel
