#pragma once

#include <cstdint>
#include <span>

namespace quel::tools {

struct Delay {
  std::int64_t samples = 0;  ///< by which `test` comes after `ref`; less than 0: before it
  double correlation = 0.0;  ///< of the two at that place, -1..1
};

/// Where two signals are most alike, among the delays from `lowest` to `highest`; of equals, the
/// least. A part of either that has no partner in the other does not count.
Delay find_delay(std::span<const std::int16_t> ref, std::span<const std::int16_t> test,
                 std::int64_t lowest, std::int64_t highest);

}  // namespace quel::tools
