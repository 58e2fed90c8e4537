#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quel::train {

/// One recording: mono, 16-bit.
struct Recording {
  std::string name;               ///< folder/file, without the path above it
  std::vector<std::int16_t> pcm;  ///< samples at the rate that was asked for
};

/// Every sound file of `speech_dir`/`folder` in the order of their names (so that a training run
/// can be repeated), resampled to `rate` where the file's own rate is higher.
///
/// Throws std::runtime_error, naming the file, where the folder is missing or empty or a file
/// cannot be read, has more than one channel, or has a rate below `rate`.
std::vector<Recording> read_folder(const std::string& speech_dir, const std::string& folder,
                                   int rate);

/// Hours of sound in `recordings` at `rate`.
double hours(const std::vector<Recording>& recordings, int rate);

}  // namespace quel::train
