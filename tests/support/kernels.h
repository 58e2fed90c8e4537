#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <vector>

#include "dsp/instruction_set.h"
#include "support/signals.h"

// For tests of kernels against the plain routines, byte for byte, in every instruction set that the
// processor has.
namespace quel::test {

/// Runs `test` once per available instruction set, in which the library's kernels then are.
template <typename Test>
void in_every_instruction_set(Test test) {
  const InstructionSet before = instruction_set();
  for (const InstructionSet set : instruction_sets) {
    if (!is_available(set)) continue;
    SCOPED_TRACE(name_of(set));
    use_instruction_set(set);
    test();
  }
  use_instruction_set(before);
}

inline std::size_t size(int n) {
  return static_cast<std::size_t>(n);
}

/// What a kernel may meet.
enum class Signal { noise, speech, tiny, huge, zeros, hostile };
inline constexpr Signal signals[] = {Signal::noise, Signal::speech, Signal::tiny,
                                     Signal::huge,  Signal::zeros,  Signal::hostile};

/// n samples. `tiny` are subnormal or next to it, `huge` about 1e38, `zeros` of either sign, and
/// `hostile` is noise with a NaN, infinities and all of these in it.
inline std::vector<float> signal(Signal kind, int n, std::uint64_t seed) {
  if (kind == Signal::speech) return speech_like(n, seed);
  Random random(seed);
  auto x = noise(n, seed);
  constexpr auto inf = std::numeric_limits<float>::infinity();
  constexpr auto nan = std::numeric_limits<float>::quiet_NaN();
  constexpr float odd[] = {nan, inf, -inf, 1e38f, -1e38f, 1e-45f, -1e-40f, -0.0f, 0.0f, 1e9f};
  for (float& v : x) {
    switch (kind) {
      case Signal::tiny:
        v *= 1e-42f;
        break;
      case Signal::huge:
        v *= 1e35f;
        break;
      case Signal::zeros:
        v = std::copysign(0.0f, v);
        break;
      case Signal::hostile:
        if (random.integer(0, 11) == 0) v = odd[random.integer(0, std::size(odd) - 1)];
        break;
      default:
        break;
    }
  }
  return x;
}

/// Runs test(length, kind, seed) for every instruction set, length and kind of signal.
template <typename Test>
void for_every_case(std::initializer_list<int> lengths, Test test) {
  in_every_instruction_set([&] {
    for (const int length : lengths) {
      for (const Signal kind : signals) {
        for (unsigned seed = 0; seed < 4; ++seed) {
          SCOPED_TRACE(testing::Message() << "length " << length << ", kind "
                                          << static_cast<int>(kind) << ", seed " << seed);
          test(length, kind, seed);
        }
      }
    }
  });
}

inline bool same(float a, float b) {
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) || (a != a && b != b);
}

inline bool same(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || (a != a && b != b);
}

/// Equal bits throughout, -0 told from 0; any NaN equals any NaN.
inline void expect_same(const std::vector<float>& got, const std::vector<float>& wanted) {
  ASSERT_EQ(got.size(), wanted.size());
  for (std::size_t i = 0; i < got.size(); ++i) {
    ASSERT_TRUE(same(got[i], wanted[i])) << "[" << i << "] " << got[i] << ", not " << wanted[i];
  }
}

/// Makes of a search's noise what gives all pairs merits that differ in a rounding or two.
inline void nearly_equal(std::vector<float>& dn, std::vector<float>& cross,
                         std::vector<float>& energy_x, std::vector<float>& energy_y) {
  for (auto* values : {&dn, &energy_x, &energy_y}) {
    for (float& v : *values) v = 1.0f + std::copysign(1.2e-7f, v);
  }
  for (float& v : cross) v = std::copysign(1e-7f, v);
}

/// The same samples at an address that is `by` floats off a vector's boundary.
class Misaligned {
 public:
  Misaligned(const std::vector<float>& x, int by) : memory_(x.size() + 32) {
    auto* at = memory_.data();
    while (reinterpret_cast<std::uintptr_t>(at) % 64 != 0) ++at;
    data_ = std::copy(x.begin(), x.end(), at + by) - static_cast<std::ptrdiff_t>(x.size());
  }
  float* data() { return data_; }

 private:
  std::vector<float> memory_;
  float* data_;
};

}  // namespace quel::test
