#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace quel::bench {

struct Speech {
  std::vector<std::int16_t> pcm;
  std::size_t files = 0;  ///< that it was taken from
  bool repeated = false;  ///< the folder held less than was asked for
};

/// Speech of the .wav and .flac files in a folder and in those below it, in an order that depends
/// on their names only, joined and cut to a length. Files of a lower sampling rate are left out,
/// those of a higher one resampled. Where that gives too little it is repeated.
///
/// rate     samples per second wanted
/// seconds  wanted, > 0
///
/// Throws std::runtime_error where no file serves or one cannot be read.
Speech read_speech(const std::string& folder, int rate, double seconds);

}  // namespace quel::bench
