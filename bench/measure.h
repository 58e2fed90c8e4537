#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace quel::bench {

/// This thread's processor time since its start, in seconds. Not getrusage's user time, which moves
/// in steps of some milliseconds; where nothing asks the system for anything the two are one.
double processor_seconds();

struct Quartiles {
  double lower, median, upper;
};

/// Of at least one value; between two values, in proportion.
Quartiles quartiles(std::vector<double> values);

/// Of y to x at the delay of y, 0 to most_delay samples, at which they are most alike, from -1 to
/// 1: about 0 for sounds that have nothing to do with each other, 0 where one of them is silent.
/// They are as long as the shorter one.
double likeness(std::span<const std::int16_t> x, std::span<const std::int16_t> y, int most_delay);

}  // namespace quel::bench
