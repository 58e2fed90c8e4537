#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <type_traits>
#include <vector>

namespace quel::fuzz {

/// Stops the program where a property does not hold, which the fuzzer takes for a finding.
inline void require(bool holds) {
  if (!holds) std::abort();
}

/// Values out of a fuzzer's input, front to back, so that make_corpus and dictionaries can tell
/// what stands where. Zeros come after the end.
class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size) : left_(data, size) {}

  bool empty() const { return left_.empty(); }
  std::size_t left() const { return left_.size(); }
  /// Whether more was read than there was.
  bool ran_out() const { return ran_out_; }
  int steps() const { return steps_; }

  /// The byte that says what comes next, which counts as a step.
  std::uint8_t step() {
    ++steps_;
    return byte();
  }

  std::uint8_t byte() {
    ran_out_ = ran_out_ || left_.empty();
    if (left_.empty()) return 0;
    const std::uint8_t value = left_.front();
    left_ = left_.subspan(1);
    return value;
  }

  /// Low byte first.
  template <typename T>
  T number() {
    std::make_unsigned_t<T> value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
      value = static_cast<std::make_unsigned_t<T>>(
          value | static_cast<std::make_unsigned_t<T>>(byte()) << (8 * i));
    }
    return static_cast<T>(value);
  }

  /// low..high, both included; takes one byte, or two where 256 values are not enough.
  int range(int low, int high) {
    const int values = high - low + 1;
    return low + (values <= 256 ? byte() : number<std::uint16_t>()) % values;
  }

  /// n bytes, zeros included.
  std::vector<std::uint8_t> bytes(std::size_t n) {
    std::vector<std::uint8_t> out(n);
    const std::size_t count = std::min(n, left_.size());
    std::copy_n(left_.begin(), count, out.begin());
    left_ = left_.subspan(count);
    ran_out_ = ran_out_ || count < n;
    return out;
  }

  std::vector<std::uint8_t> rest() { return bytes(left_.size()); }

 private:
  std::span<const std::uint8_t> left_;
  bool ran_out_ = false;
  int steps_ = 0;
};

/// Stops the program where a seed of make_corpus does not mean to the target what it was written to
/// mean; without the check, seeds that a target's change leaves behind are no more than noise.
/// scripts/fuzz runs every seed with QUEL_FUZZ_EXPECT, which is what the seed's name says.
///
/// outcome  of this input, a small number whose meaning is the target's own
inline void check_seed(int outcome) {
  static const char* const expected = std::getenv("QUEL_FUZZ_EXPECT");
  if (expected == nullptr || std::atoi(expected) == outcome) return;
  std::fprintf(stderr, "a seed that should give %s gives %d\n", expected, outcome);
  std::abort();
}

/// Likewise for targets that read step by step: as many steps, which end where the input ends.
inline void check_seed(const FuzzInput& input) {
  static const bool checked = std::getenv("QUEL_FUZZ_EXPECT") != nullptr;
  if (checked && (input.ran_out() || !input.empty())) {
    std::fprintf(stderr, "a seed of another length than what is read of it: %zu bytes left%s\n",
                 input.left(), input.ran_out() ? ", some missing" : "");
    std::abort();
  }
  check_seed(input.steps());
}

/// Deterministic noise, for what would take too much of an input.
class FuzzNoise {
 public:
  explicit FuzzNoise(std::uint32_t seed) : state_(seed) {}
  std::uint32_t bits() {
    state_ = state_ * 1664525u + 1013904223u;
    return state_ >> 8;
  }

 private:
  std::uint32_t state_;
};

/// What outputs are filled with to see what is written.
template <typename T>
std::vector<T> untouched(std::size_t n) {
  return std::vector<T>(n, static_cast<T>(0x5a5a));
}

}  // namespace quel::fuzz
