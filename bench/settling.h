#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quel::bench {

/// Samples after which all of the rest of two sounds differs by at most 1; the sounds' length where
/// their ends differ by more. They are as long as the shorter one.
std::size_t settled_after(std::span<const std::int16_t> x, std::span<const std::int16_t> y);

/// The least of at least one value that a share of them, 0 < share <= 1, does not exceed. Throws
/// std::invalid_argument.
std::size_t not_exceeded(std::vector<std::size_t> values, double share);

}  // namespace quel::bench
