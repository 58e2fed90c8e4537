#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/sound_tags.h"

namespace quel::tools {

/// What the header of a WAV stream says of the samples after it.
struct WavStreamFormat {
  int subtype = 0;  ///< libsndfile's SF_FORMAT_PCM_16 and the like
  int rate = 0;     ///< Hz
  int channels = 0;
  std::optional<std::uint64_t> bytes;  ///< of samples; nothing where only the end will tell
  SoundTags tags;                      ///< that stand ahead of the samples
  int sample_bytes = 0;                ///< of one channel
};

/// Bytes of a pipe, of which those read last can be read again.
class PipeInput {
 public:
  /// descriptor  stays the caller's
  /// name        for messages
  PipeInput(int descriptor, std::string name) : descriptor_(descriptor), name_(std::move(name)) {}

  /// Fewer than asked only at the end. Throws FileError.
  std::size_t read(std::uint8_t* bytes, std::size_t count);

  /// What is there, waiting for at least one byte; 0 only at the end, or where none is asked for.
  /// Throws FileError.
  std::size_t read_some(std::uint8_t* bytes, std::size_t count);

  /// Makes the next reads give these bytes first.
  void put_back(const std::vector<std::uint8_t>& bytes);

 private:
  int descriptor_;
  std::string name_;
  std::vector<std::uint8_t> waiting_;
  std::size_t next_ = 0;
};

/// What a header's 32-bit length says. Programs that cannot go back to put it right leave 0 or
/// something near the largest 31-bit or 32-bit number: then nothing.
std::optional<std::uint64_t> known_bytes(std::uint64_t bytes);
/// The same of 64 bits.
std::optional<std::uint64_t> known_wide_bytes(std::uint64_t bytes);

/// Reads the header of a WAV or RF64 stream; the samples come next.
///
/// Nothing where it is something else or holds a coding that only libsndfile's own reader
/// understands; the input is then at its start again. Throws FileError where reading fails.
std::optional<WavStreamFormat> read_wav_header(PipeInput& input);

}  // namespace quel::tools
