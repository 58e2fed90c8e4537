#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "quelcodec/quelcodec.h"

// What every stream's creation checks first.
namespace quel {

/// Size of the first version of any options struct: two ints.
inline constexpr std::size_t oldest_options = sizeof(std::size_t) + 2 * sizeof(int);
/// Longer than any will ever be: a size that nobody set must not have memory read without end.
inline constexpr std::size_t greatest_options = 4096;

/// Takes the caller's options, which may be older (shorter) or newer (longer) than ours. What an
/// older caller does not know keeps its default in `known`; what we do not know must be zero.
/// Structs grow by pairs of ints, so that none has padding for a member added later to hide in.
template <typename Options>
bool take_options(const Options* given, Options& known) {
  static_assert(std::has_unique_object_representations_v<Options>);
  static_assert(sizeof(Options) >= oldest_options &&
                (sizeof(Options) - oldest_options) % (2 * sizeof(int)) == 0);
  std::size_t size = 0;
  std::memcpy(&size, given, sizeof size);
  if (size < oldest_options || size > greatest_options) return false;
  std::memcpy(&known, given, std::min(size, sizeof known));
  const auto* bytes = reinterpret_cast<const unsigned char*>(given);
  for (std::size_t i = sizeof known; i < size; ++i) {
    if (bytes[i] != 0) return false;
  }
  return std::all_of(std::begin(known.reserved), std::end(known.reserved),
                     [](int value) { return value == 0; });
}

/// QUEL_OK where the caller's memory will do for a stream of `wanted` bytes, else an error.
inline int check_memory(const void* memory, std::size_t bytes, int wanted) {
  if (reinterpret_cast<std::uintptr_t>(memory) % alignof(std::max_align_t) != 0) {
    return QUEL_ERROR_ALIGNMENT;
  }
  return bytes < static_cast<std::size_t>(wanted) ? QUEL_ERROR_MEMORY : QUEL_OK;
}

}  // namespace quel
