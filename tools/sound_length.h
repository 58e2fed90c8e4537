#pragma once

#include <cstdint>
#include <optional>

namespace quel::tools {

/// The samples of a file as its header has them, and as they are.
struct SampleBytes {
  std::uint64_t there = 0;               ///< from the first to the end of the file
  std::optional<std::uint64_t> claimed;  ///< nothing where the header leaves it open
  bool head_cut = false;  ///< the file ends within the header ahead of them; nothing is known then
  bool cut() const { return head_cut || (claimed && there < *claimed); }
};

/// Finds the samples of a WAV, RF64 or AIFF file. The descriptor's position stays.
///
/// Nothing for files of other kinds, for pipes, and where there are no samples: what follows is no
/// chunk, or there are thousands of them. Reads no more than a few bytes of each.
std::optional<SampleBytes> find_samples(int descriptor);

}  // namespace quel::tools
