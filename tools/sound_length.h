#pragma once

#include <cstdint>
#include <optional>

namespace quel::tools {

/// The samples of a file as its header has them, and as they are.
struct SampleBytes {
  std::uint64_t there = 0;               ///< from the first to the end of the file
  std::optional<std::uint64_t> claimed;  ///< nothing where the header leaves it open
  bool cut() const { return claimed && there < *claimed; }
};

/// Finds the samples of a WAV, RF64 or AIFF file. The descriptor's position stays.
///
/// Nothing for files of other kinds, for pipes, and where the file ends ahead of its samples.
std::optional<SampleBytes> find_samples(int descriptor);

}  // namespace quel::tools
