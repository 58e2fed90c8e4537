#include "interface/unit_queue.h"

#include <algorithm>

namespace quel {

int UnitQueue::add(std::int64_t timestamp, std::int64_t sequence, const std::uint8_t* bytes,
                   int length) {
  int at = count_;  // most units come last
  while (at > 0 && units_[at - 1].timestamp > timestamp) --at;
  if (at > 0 && units_[at - 1].timestamp == timestamp) return 1;
  int gone = 0;
  if (count_ == capacity_) {
    if (at == 0) return 1;
    drop(1);
    --at;
    gone = 1;
  }
  std::copy_backward(units_ + at, units_ + count_, units_ + count_ + 1);
  units_[at].timestamp = timestamp;
  units_[at].sequence = sequence;
  std::copy_n(bytes, length, units_[at].bytes.begin());
  ++count_;
  return gone;
}

void UnitQueue::drop(int n) {
  std::copy(units_ + n, units_ + count_, units_);
  count_ -= n;
}

}  // namespace quel
